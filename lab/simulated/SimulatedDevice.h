// Puts a device model on the simulated air: the model's host, as vornix-lab is its host on a real
// controller. Main thread of the simulated platform.
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
  // The device is on the air once device().appear() is called. Model and platform outlive this
  // object, which outlives the platform's last runUntil.
  SimulatedDevice(platform::simulated::Platform& platform, DeviceModel& model);

  // Misbehaviour of the link, by the names that LinkFaults has; false when it is none of them. A
  // request is here one of the bridge's.
  bool setFault(std::string_view name, std::string_view argument);

  // For what neither the model nor the link does: when it appears, how long it takes.
  platform::simulated::Device& device() { return device_; }

  // Lets the model do what has become due, after it was changed from outside. Its actions follow in
  // runUntil.
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
  std::vector<platform::CBUUID> layout_;  // of the tree that was built last
  LinkFaults faults_;
  bool hasFaults_ = false;
  bool isDropping_ = false;  // the link is about to end: nothing goes out any more
  std::uint64_t turn_ = 0;   // numbers the appointments for advance; only the last one counts
};

}  // namespace lab
