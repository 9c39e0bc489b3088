// The bridge's side of a simulated device: its link and the queue of its requests. Main thread,
// except setNotifyValue and writeValue.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "lab/simulated/Air.h"
#include "lab/simulated/Device.h"
#include "lab/simulated/Gatt.h"
#include "lab/simulated/Request.h"
#include "platform/Platform.h"

namespace platform::simulated {

class Peripheral final : public CBPeripheral, public std::enable_shared_from_this<Peripheral> {
 public:
  explicit Peripheral(Air& air) : air_(air), device_(*this) {}

  std::optional<std::string> name() const override { return name_; }
  void setDelegate(CBPeripheralDelegate* delegate) override { delegate_ = delegate; }
  const std::vector<CBService*>* services() const override {
    return services_ ? &*services_ : nullptr;
  }
  void discoverServices(std::span<const CBUUID> services) override;
  void discoverCharacteristics(std::span<const CBUUID> characteristics,
                               CBService& service) override;
  void setNotifyValue(bool enabled, CBCharacteristic& characteristic) override;
  void readValue(CBCharacteristic& characteristic) override;
  void writeValue(Value value, CBCharacteristic& characteristic,
                  CBCharacteristicWriteType type) override;

  Device& device() { return device_; }
  const Device& device() const { return device_; }
  void setName(std::optional<std::string> name) { name_ = std::move(name); }

  std::optional<std::string> nameOnAir() const;

  void startAdvertising();
  void nameDidChange();
  bool isLinked() const { return isLinked_; }
  void want();    // the manager asks for a link
  void unwant();  // the manager is gone
  void tryToConnect();
  void loseLink();

  bool receive(DeviceCharacteristic& characteristic, Value value);
  void deliverValue(Characteristic& characteristic, Value value);

 private:
  void post(Request request);
  void accept(Request request);  // from the mailbox
  void finishAttempt();
  void linkUp();
  void startNext();
  void carryOutNext();
  void carryOut(const Request& request);

  void answerServices(const Request& request);
  void answerCharacteristics(const Request& request);
  void answerRead(Characteristic& characteristic);
  void answerWrite(const Request& request);
  void subscribe(Characteristic& characteristic);
  void unsubscribe(Characteristic& characteristic);

  void postServicesError(const Error& error);
  void postNotificationState(Characteristic& characteristic, Refusal refusal);

  Air& air_;
  Device device_;
  CBPeripheralDelegate* delegate_ = nullptr;
  std::optional<std::string> name_;

  // Everything ever discovered: what a later discovery replaces stays alive.
  std::vector<std::unique_ptr<Service>> allServices_;
  std::vector<std::unique_ptr<Characteristic>> allCharacteristics_;
  std::optional<std::vector<CBService*>> services_;

  bool isWanted_ = false;
  bool isLinked_ = false;
  std::uint64_t attempt_ = 0;  // counts attempts to connect, links, and their ends
  bool isAttempting_ = false;
  std::deque<Request> requests_;  // the first one has been sent to the device
};

}  // namespace platform::simulated
