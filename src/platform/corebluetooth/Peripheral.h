// One device. All requests go through the main thread's mailbox, whichever thread makes them, so
// that they reach the framework in the order in which they were made; the framework carries them
// out in that order. Main thread, except setNotifyValue and writeValue.
//
// When the device's services change during a link, they are discovered and subscribed to again
// without the bridge's knowledge (a renewal), and requests wait until that is done.
#pragma once

#import <CoreBluetooth/CoreBluetooth.h>

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/Platform.h"
#include "platform/corebluetooth/Gatt.h"
#include "platform/corebluetooth/Identifier.h"
#include "platform/corebluetooth/MainThread.h"
#include "platform/corebluetooth/Retained.h"

@class VornixPeripheralDelegate;

namespace platform::corebluetooth {

class Peripheral final : public CBPeripheral, public std::enable_shared_from_this<Peripheral> {
 public:
  Peripheral(::CBPeripheral* native, MainThread& main);
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

  // Everything from here on is for this folder only.

  CBPeripheralDelegate* delegate() const { return delegate_; }
  const Identifier& identifier() const { return identifier_; }

  // The framework's object; nil while the last one is invalid.
  ::CBPeripheral* native() const { return native_.get(); }
  void become(::CBPeripheral* native);

  // The bridge's own link. The framework's object may also be connected by another program.
  bool isLinked() const { return isLinked_; }

  // What the framework reports. didConnect: false when it has been reported for this link before.
  bool didConnect();
  void didLoseLink(NSError* error);
  void didDiscoverServices(NSError* error);
  void didModifyServices(NSArray* invalidated);
  void didDiscoverCharacteristics(::CBService* service, NSError* error);
  void didUpdateValue(::CBCharacteristic* characteristic, NSError* error);
  void didUpdateNotificationState(::CBCharacteristic* characteristic, NSError* error);

  // Keep the object alive while a delivery for it waits.
  void retain();
  void release();

 private:
  using Asked = Characteristic::Asked;

  void post(std::function<void()> call);
  void request(std::function<void()> make);
  void whenFound(std::function<void()> make);
  void searchServices(const Search& search);
  void searchCharacteristics(Service& service, const Search& search);
  void ask(Characteristic& characteristic, Asked asked);

  void renew();
  void postpone(Service& service);
  void renewCharacteristics();
  void finishRenewal();

  void report(std::function<void()> call);
  void reportServices(std::optional<std::vector<CBService*>> found, std::optional<Error> error);
  void reportCharacteristics(Service& service, std::optional<std::vector<CBCharacteristic*>> found,
                             std::optional<Error> error);
  void reportNoValue(Characteristic& characteristic, std::optional<Error> error);
  void reportNotificationState(Characteristic& characteristic, std::optional<Error> error);

  MainThread& main_;
  Identifier identifier_;
  Retained<::CBPeripheral*> native_;
  Retained<VornixPeripheralDelegate*> nativeDelegate_;
  CBPeripheralDelegate* delegate_ = nullptr;
  std::optional<std::string> name_;  // the last one, for the time without a native object
  std::optional<std::vector<CBService*>> services_;
  Gatt gatt_;

  bool isLinked_ = false;
  std::deque<Search> asked_;    // service discoveries that the framework has not answered yet
  std::size_t unanswered_ = 0;  // service discoveries of the bridge that it has no answer to yet
  unsigned renewal_ = 0;        // the number of the last renewal
  std::size_t awaited_ = 0;     // answers that the renewal still waits for
  std::deque<std::function<void()>> later_;  // requests that wait for the renewal

  std::size_t retained_ = 0;
  std::shared_ptr<Peripheral> self_;
};

}  // namespace platform::corebluetooth
