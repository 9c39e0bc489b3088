#import "platform/corebluetooth/Peripheral.h"

#include <algorithm>
#include <utility>

@interface VornixPeripheralDelegate : NSObject <CBPeripheralDelegate> {
 @public
  platform::corebluetooth::Peripheral* owner;
}
@end

@implementation VornixPeripheralDelegate

- (void)peripheral:(CBPeripheral*)peripheral didDiscoverServices:(NSError*)error {
  owner->didDiscoverServices(error);
}

- (void)peripheral:(CBPeripheral*)peripheral
    didDiscoverCharacteristicsForService:(CBService*)service
                                   error:(NSError*)error {
  owner->didDiscoverCharacteristics(service, error);
}

- (void)peripheral:(CBPeripheral*)peripheral
    didUpdateValueForCharacteristic:(CBCharacteristic*)characteristic
                              error:(NSError*)error {
  owner->didUpdateValue(characteristic, error);
}

- (void)peripheral:(CBPeripheral*)peripheral
    didUpdateNotificationStateForCharacteristic:(CBCharacteristic*)characteristic
                                          error:(NSError*)error {
  owner->didUpdateNotificationState(characteristic, error);
}

@end

namespace platform::corebluetooth {
namespace {

const Error* pointerTo(const std::optional<Error>& error) {
  return error ? &*error : nullptr;
}

// The one object of the interface that stands for this object of the framework.
template <class Object, class Native>
Object& objectOf(std::vector<std::unique_ptr<Object>>& all, Native native) {
  for (const auto& known : all) {
    if (known->native() == native) return *known;
  }
  return *all.emplace_back(std::make_unique<Object>(native));
}

// The framework's list may also hold what other discoveries have found.
template <class Listed, class Object>
std::optional<std::vector<Listed*>> objectsAmong(NSArray* natives,
                                                 const std::vector<CBUUID>& identifiers,
                                                 std::vector<std::unique_ptr<Object>>& all) {
  if (natives == nil) return std::nullopt;
  std::vector<Listed*> found;
  for (id native in natives) {
    Object& object = objectOf(all, native);
    const bool isAskedFor = std::ranges::find(identifiers, object.UUID()) != identifiers.end();
    if (isAskedFor) found.push_back(&object);
  }
  return found;
}

std::vector<CBUUID> takeFirst(std::deque<std::vector<CBUUID>>& asked) {
  std::vector<CBUUID> first = std::move(asked.front());
  asked.pop_front();
  return first;
}

}  // namespace

Peripheral::Peripheral(::CBPeripheral* native, Mailbox& mailbox, Delivery& delivery)
    : native_(native),
      nativeDelegate_(Retained<VornixPeripheralDelegate*>::adopt([VornixPeripheralDelegate new])),
      mailbox_(mailbox),
      delivery_(delivery) {
  nativeDelegate_.get()->owner = this;
  [native setDelegate:nativeDelegate_.get()];
}

Peripheral::~Peripheral() {
  [native() setDelegate:nil];
}

std::optional<std::string> Peripheral::name() const {
  @autoreleasepool {
    return textOf([native() name]);
  }
}

void Peripheral::discoverServices(std::span<const CBUUID> services) {
  post([this, wanted = std::vector(services.begin(), services.end())] {
    asked_.push_back(wanted);
    if (!isConnected()) return didLoseLink(nil);
    [native() discoverServices:nativeIdentifiers(wanted)];
  });
}

void Peripheral::discoverCharacteristics(std::span<const CBUUID> characteristics,
                                         CBService& service) {
  auto& inService = static_cast<Service&>(service);
  request([this, &inService, wanted = std::vector(characteristics.begin(), characteristics.end())] {
    inService.asked.push_back(wanted);
    [native() discoverCharacteristics:nativeIdentifiers(wanted) forService:inService.native()];
  });
}

void Peripheral::setNotifyValue(bool enabled, CBCharacteristic& characteristic) {
  const auto& known = static_cast<Characteristic&>(characteristic);
  request([this, enabled, &known] {
    [native() setNotifyValue:enabled forCharacteristic:known.native()];
  });
}

void Peripheral::readValue(CBCharacteristic& characteristic) {
  const auto& known = static_cast<Characteristic&>(characteristic);
  request([this, &known] { [native() readValueForCharacteristic:known.native()]; });
}

void Peripheral::writeValue(Value value, CBCharacteristic& characteristic,
                            CBCharacteristicWriteType) {
  const auto& known = static_cast<Characteristic&>(characteristic);
  request([this, bytes = std::vector(value.begin(), value.end()), &known] {
    [native() writeValue:[NSData dataWithBytes:bytes.data() length:bytes.size()]
        forCharacteristic:known.native()
                     type:CBCharacteristicWriteWithResponse];
  });
}

void Peripheral::post(std::function<void()> call) {
  mailbox_.post([weak = weak_from_this(), call = std::move(call)] {
    if (const auto self = weak.lock()) call();
  });
}

// The framework complains about what it is asked while the link is down.
void Peripheral::request(std::function<void()> make) {
  post([this, make = std::move(make)] {
    if (isConnected()) make();
  });
}

void Peripheral::didDiscoverServices(NSError* error) {
  if (asked_.empty()) return;  // the loss of the link has answered it
  const std::vector<CBUUID> wanted = takeFirst(asked_);
  NSArray* const natives = error == nil ? [native() services] : nil;
  answerServices(objectsAmong<CBService>(natives, wanted, allServices_), errorOf(error));
}

void Peripheral::didDiscoverCharacteristics(::CBService* native, NSError* error) {
  Service& service = objectOf(allServices_, native);
  if (service.asked.empty() || !isToBeReported(error)) return;
  const std::vector<CBUUID> wanted = takeFirst(service.asked);
  NSArray* const natives = error == nil ? [native characteristics] : nil;
  deliver([this, &service, error = errorOf(error),
           found = objectsAmong<CBCharacteristic>(natives, wanted, allCharacteristics_)] {
    service.setCharacteristics(found);
    if (delegate_ == nullptr) return;
    delegate_->peripheralDidDiscoverCharacteristicsFor(*this, service, pointerTo(error));
  });
}

// The framework keeps an earlier value when a read fails.
void Peripheral::didUpdateValue(::CBCharacteristic* native, NSError* error) {
  if (!isToBeReported(error)) return;
  Characteristic& characteristic = objectOf(allCharacteristics_, native);
  const Retained<NSData*> data(error == nil ? [native value] : nil);
  deliver([this, &characteristic, data, error = errorOf(error)] {
    if (delegate_ == nullptr) return;
    if (NSData* const value = data.get()) {
      const auto* const bytes = static_cast<const std::uint8_t*>([value bytes]);
      characteristic.setValue(Value(bytes, [value length]));
    }
    delegate_->peripheralDidUpdateValueFor(*this, characteristic, pointerTo(error));
    characteristic.setValue(std::nullopt);
  });
}

void Peripheral::didUpdateNotificationState(::CBCharacteristic* native, NSError* error) {
  if (!isToBeReported(error)) return;
  Characteristic& characteristic = objectOf(allCharacteristics_, native);
  deliver([this, &characteristic, error = errorOf(error)] {
    if (delegate_ == nullptr) return;
    delegate_->peripheralDidUpdateNotificationStateFor(*this, characteristic, pointerTo(error));
  });
}

// Whether the framework answers what was waiting is not documented: a discovery of services is
// answered here if it was not there.
void Peripheral::didLoseLink(NSError* error) {
  for (const auto& service : allServices_) service->asked.clear();
  for (auto unanswered = asked_.size(); unanswered > 0; --unanswered) {
    asked_.pop_front();
    answerServices(std::nullopt, errorOf(error).value_or(linkLost()));
  }
}

bool Peripheral::isToBeReported(NSError* error) const {
  return error == nil || (isConnected() && !isLinkLost(error));
}

void Peripheral::answerServices(std::optional<std::vector<CBService*>> found,
                                std::optional<Error> error) {
  deliver([this, found = std::move(found), error = std::move(error)] {
    services_ = found;
    if (delegate_ == nullptr) return;
    delegate_->peripheralDidDiscoverServices(*this, pointerTo(error));
  });
}

void Peripheral::deliver(std::function<void()> call) {
  delivery_.deliver([weak = weak_from_this(), call = std::move(call)] {
    if (const auto self = weak.lock()) call();
  });
}

}  // namespace platform::corebluetooth
