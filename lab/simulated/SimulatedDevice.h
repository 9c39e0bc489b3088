// Runs a device model on the simulated platform, as vornix-lab runs it on a real controller. Main
// thread of the platform.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "lab/DeviceModel.h"
#include "lab/hci/LinkFaults.h"
#include "lab/simulated/Platform.h"

namespace lab {

class SimulatedDevice final : public Link {
 public:
  // The device is switched on by device().appear(). Model and platform outlive this object, which
  // outlives the platform's last runUntil.
  SimulatedDevice(platform::simulated::Platform& platform, DeviceModel& model);

  // Sets a fault of LinkFaults, except late-at; false when it is none of these. A "request" is here
  // one call of the bridge to the platform, whatever number of ATT packets it would take.
  bool setFault(std::string_view name, std::string_view argument);

  // For what the model does not decide: when the device appears, how long its answers take.
  platform::simulated::Device& device() { return device_; }

  // To be called after a change to the model: the next runUntil lets it do what is due.
  void wake();

  bool notify(CharacteristicIndex characteristic, std::span<const std::uint8_t> value) override;
  std::size_t largestNotification() const override;
  void drop() override;

 private:
  std::vector<platform::CBUUID> layout() const;
  void buildTree();
  void addCharacteristic(platform::simulated::DeviceService& service,
                         const Characteristic& characteristic);
  void obeyFaults(platform::simulated::RequestKind kind, const platform::CBUUID* identifier);
  void advance();
  void advanceAt(Microseconds time);
  void updateName();

  platform::simulated::Platform& platform_;
  DeviceModel& model_;
  platform::simulated::Device& device_;
  std::vector<platform::simulated::DeviceCharacteristic*> characteristics_;  // by index
  std::vector<platform::CBUUID> layout_;  // of the tree that was built last (see layout())
  LinkFaults faults_;
  bool hasFaults_ = false;
  bool isDropping_ = false;  // the link is about to end: nothing goes out any more
  std::uint64_t turn_ = 0;   // numbers the scheduled calls of advance; only the last one is made
};

}  // namespace lab
