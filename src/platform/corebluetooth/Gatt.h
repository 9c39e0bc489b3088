// The services and characteristics that discovery finds; they exist as long as their peripheral.
// The framework's objects for them become invalid with the link, or when the device's services
// change. A new one of the framework is then assigned to the earliest object here that has its
// identifier and has lost its own. Main thread.
#pragma once

#import <CoreBluetooth/CoreBluetooth.h>

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "platform/Platform.h"
#include "platform/corebluetooth/Convert.h"
#include "platform/corebluetooth/Retained.h"
#include "platform/shared/DeliveryQueue.h"

namespace platform::corebluetooth {

class Peripheral;

// What a discovery looks for.
struct Search {
  std::vector<CBUUID> wanted;
  unsigned renewal = 0;  // the number of the renewal that it belongs to; 0: the bridge asked
};

class Characteristic final : public CBCharacteristic, public shared::ValueTarget {
 public:
  using Native = ::CBCharacteristic*;
  enum class Asked { read, subscription, unsubscription, renewal };

  Characteristic(Peripheral& peripheral, Native native)
      : CBCharacteristic(identifierOf([native UUID])), peripheral_(peripheral), native_(native) {}

  // The framework's object; nil while it has none.
  Native native() const { return native_.get(); }
  void setNative(Native native) { native_ = Retained<Native>(native); }

  // Makes the callback.
  void deliver(Value value) override;
  void retain() override;
  void release() override;

  std::deque<Asked> asked;  // requests to the framework that are not answered yet
  bool isSubscribed = false;
  bool isToBeRenewed = false;                    // subscribe again when it is found again
  std::vector<std::vector<std::uint8_t>> early;  // values that came before the confirmation

  bool isBeingSubscribed() const;
  void loseLink();

 private:
  Peripheral& peripheral_;
  Retained<Native> native_;
};

class Service final : public CBService {
 public:
  using Native = ::CBService*;

  Service(Peripheral& peripheral, Native native)
      : CBService(identifierOf([native UUID])), peripheral_(peripheral), native_(native) {}

  Native native() const { return native_.get(); }
  void setNative(Native native) { native_ = Retained<Native>(native); }

  void setCharacteristics(std::optional<std::vector<CBCharacteristic*>> found) {
    characteristics_ = std::move(found);
  }

  std::deque<Search> asked;  // discoveries that the framework has not answered yet

  // All that was ever discovered, in the framework's order.
  std::vector<std::unique_ptr<Characteristic>> all;
  std::vector<CBCharacteristic*> found(NSArray* natives, const std::vector<CBUUID>& wanted);

  // Whether some of what was discovered has no object of the framework now.
  bool hasLostSome() const;
  void loseNatives();

 private:
  Peripheral& peripheral_;
  Retained<Native> native_;
};

// All services of a peripheral that were ever discovered.
class Gatt {
 public:
  explicit Gatt(Peripheral& peripheral) : peripheral_(peripheral) {}

  std::vector<CBService*> found(NSArray* natives, const std::vector<CBUUID>& wanted);

  // Null for an object of the framework that was never asked for, or is invalid.
  Service* serviceOf(::CBService* native) const;
  Characteristic* characteristicOf(::CBCharacteristic* native) const;

  const std::vector<std::unique_ptr<Service>>& services() const { return all_; }

  // All objects of the framework are invalid, and all subscriptions have ended.
  void loseLink();

 private:
  Peripheral& peripheral_;
  std::vector<std::unique_ptr<Service>> all_;
};

}  // namespace platform::corebluetooth
