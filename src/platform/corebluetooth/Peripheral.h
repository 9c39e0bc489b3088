// One device. Every request takes the way over the main thread's run loop, whichever thread makes
// it, so that they reach the framework in the order in which they were made; it carries them out in
// that order. Main thread, but for setNotifyValue and writeValue.
#pragma once

#import <CoreBluetooth/CoreBluetooth.h>

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/Platform.h"
#include "platform/corebluetooth/Delivery.h"
#include "platform/corebluetooth/Gatt.h"
#include "platform/corebluetooth/Mailbox.h"
#include "platform/corebluetooth/Retained.h"

@class VornixPeripheralDelegate;

namespace platform::corebluetooth {

class Peripheral final : public CBPeripheral, public std::enable_shared_from_this<Peripheral> {
 public:
  Peripheral(::CBPeripheral* native, Mailbox& mailbox, Delivery& delivery);
  ~Peripheral() override;

  std::optional<std::string> name() const override;
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

  ::CBPeripheral* native() const { return native_.get(); }
  bool isConnected() const { return [native() state] == CBPeripheralStateConnected; }

  // What the framework reports.
  void didDiscoverServices(NSError* error);
  void didDiscoverCharacteristics(::CBService* service, NSError* error);
  void didUpdateValue(::CBCharacteristic* characteristic, NSError* error);
  void didUpdateNotificationState(::CBCharacteristic* characteristic, NSError* error);
  void didLoseLink(NSError* error);

 private:
  void post(std::function<void()> call);
  void request(std::function<void()> make);
  bool isToBeReported(NSError* error) const;
  void deliver(std::function<void()> call);
  void answerServices(std::optional<std::vector<CBService*>> found, std::optional<Error> error);

  Retained<::CBPeripheral*> native_;
  Retained<VornixPeripheralDelegate*> nativeDelegate_;
  Mailbox& mailbox_;
  Delivery& delivery_;
  CBPeripheralDelegate* delegate_ = nullptr;
  std::optional<std::vector<CBService*>> services_;
  std::deque<std::vector<CBUUID>> asked_;  // as Service::asked, of services

  // All that was ever discovered.
  std::vector<std::unique_ptr<Service>> allServices_;
  std::vector<std::unique_ptr<Characteristic>> allCharacteristics_;
};

}  // namespace platform::corebluetooth
