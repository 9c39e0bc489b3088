#import "platform/corebluetooth/Peripheral.h"

#include <algorithm>
#include <utility>

@interface VornixPeripheralDelegate : NSObject <CBPeripheralDelegate> {
 @public
  platform::corebluetooth::Peripheral* owner;  // null once it is gone
}
@end

@implementation VornixPeripheralDelegate

- (void)peripheral:(CBPeripheral*)peripheral didDiscoverServices:(NSError*)error {
  if (owner != nullptr) owner->didDiscoverServices(error);
}

- (void)peripheral:(CBPeripheral*)peripheral didModifyServices:(NSArray*)invalidatedServices {
  if (owner != nullptr) owner->didModifyServices(invalidatedServices);
}

- (void)peripheral:(CBPeripheral*)peripheral
    didDiscoverCharacteristicsForService:(CBService*)service
                                   error:(NSError*)error {
  if (owner != nullptr) owner->didDiscoverCharacteristics(service, error);
}

- (void)peripheral:(CBPeripheral*)peripheral
    didUpdateValueForCharacteristic:(CBCharacteristic*)characteristic
                              error:(NSError*)error {
  if (owner != nullptr) owner->didUpdateValue(characteristic, error);
}

- (void)peripheral:(CBPeripheral*)peripheral
    didUpdateNotificationStateForCharacteristic:(CBCharacteristic*)characteristic
                                          error:(NSError*)error {
  if (owner != nullptr) owner->didUpdateNotificationState(characteristic, error);
}

@end

namespace platform::corebluetooth {
namespace {

const Error* pointerTo(const std::optional<Error>& error) {
  return error ? &*error : nullptr;
}

Search takeFirst(std::deque<Search>& asked) {
  Search first = std::move(asked.front());
  asked.pop_front();
  return first;
}

}  // namespace

Peripheral::Peripheral(::CBPeripheral* native, MainThread& main)
    : main_(main),
      identifier_(identifierOf(native)),
      native_(nil),
      nativeDelegate_(Retained<VornixPeripheralDelegate*>::adopt([VornixPeripheralDelegate new])),
      gatt_(*this) {
  nativeDelegate_.get()->owner = this;
  become(native);
}

Peripheral::~Peripheral() {
  nativeDelegate_.get()->owner = nullptr;
  [native() setDelegate:nil];
}

void Peripheral::become(::CBPeripheral* native) {
  didLoseLink(nil);
  name_ = name();
  [this->native() setDelegate:nil];
  native_ = Retained<::CBPeripheral*>(native);
  [native setDelegate:nativeDelegate_.get()];
}

std::optional<std::string> Peripheral::name() const {
  @autoreleasepool {
    auto known = textOf([native() name]);
    return known ? known : name_;
  }
}

void Peripheral::discoverServices(std::span<const CBUUID> services) {
  post([this, wanted = std::vector(services.begin(), services.end())] {
    if (!isLinked_) return reportServices(std::nullopt, linkLost());
    ++unanswered_;
    whenFound([this, wanted] { searchServices({wanted}); });
  });
}

void Peripheral::discoverCharacteristics(std::span<const CBUUID> characteristics,
                                         CBService& service) {
  auto& inService = static_cast<Service&>(service);
  request([this, &inService, wanted = std::vector(characteristics.begin(), characteristics.end())] {
    searchCharacteristics(inService, {wanted});
  });
}

void Peripheral::setNotifyValue(bool enabled, CBCharacteristic& characteristic) {
  auto& known = static_cast<Characteristic&>(characteristic);
  request([this, asked = enabled ? Asked::subscription : Asked::unsubscription, &known] {
    ask(known, asked);
  });
}

void Peripheral::readValue(CBCharacteristic& characteristic) {
  auto& known = static_cast<Characteristic&>(characteristic);
  request([this, &known] { ask(known, Asked::read); });
}

void Peripheral::writeValue(Value value, CBCharacteristic& characteristic,
                            CBCharacteristicWriteType) {
  const auto& known = static_cast<Characteristic&>(characteristic);
  request([this, bytes = std::vector(value.begin(), value.end()), &known] {
    if (known.native() == nil) return;
    [native() writeValue:[NSData dataWithBytes:bytes.data() length:bytes.size()]
        forCharacteristic:known.native()
                     type:CBCharacteristicWriteWithResponse];
  });
}

void Peripheral::post(std::function<void()> call) {
  main_.mailbox.post([weak = weak_from_this(), call = std::move(call)] {
    if (const auto self = weak.lock()) call();
  });
}

// The framework complains about requests that are made while the link is down, so these are
// dropped.
void Peripheral::request(std::function<void()> make) {
  post([this, make = std::move(make)] {
    if (isLinked_) whenFound(make);
  });
}

void Peripheral::whenFound(std::function<void()> make) {
  if (awaited_ == 0) return make();
  later_.push_back(std::move(make));
}

void Peripheral::searchServices(const Search& search) {
  asked_.push_back(search);
  [native() discoverServices:nativeIdentifiers(search.wanted)];
}

void Peripheral::searchCharacteristics(Service& service, const Search& search) {
  if (service.native() == nil) return reportCharacteristics(service, std::nullopt, isGone());
  service.asked.push_back(search);
  [native() discoverCharacteristics:nativeIdentifiers(search.wanted) forService:service.native()];
}

void Peripheral::ask(Characteristic& characteristic, Asked asked) {
  ::CBCharacteristic* const known = characteristic.native();
  const bool isRead = asked == Asked::read;
  if (known == nil) {
    return isRead ? reportNoValue(characteristic, isGone())
                  : reportNotificationState(characteristic, isGone());
  }
  characteristic.asked.push_back(asked);
  if (isRead) {
    [native() readValueForCharacteristic:known];
  } else {
    [native() setNotifyValue:asked != Asked::unsubscription forCharacteristic:known];
  }
}

bool Peripheral::didConnect() {
  return !std::exchange(isLinked_, true);
}

// It is not documented whether the framework answers pending requests when the link is lost. A
// service discovery that it has not answered is answered here.
void Peripheral::didLoseLink(NSError* error) {
  if (!std::exchange(isLinked_, false)) return;
  gatt_.loseLink();
  asked_.clear();
  later_.clear();
  awaited_ = 0;
  for (auto left = std::exchange(unanswered_, 0); left > 0; --left) {
    reportServices(std::nullopt, errorOf(error).value_or(linkLost()));
  }
}

void Peripheral::didDiscoverServices(NSError* error) {
  if (asked_.empty()) return;  // the loss of the link has answered it
  const Search search = takeFirst(asked_);
  if (search.renewal != 0 && search.renewal != renewal_) return;
  NSArray* const natives = error == nil ? [native() services] : nil;
  if (search.renewal != 0) {
    gatt_.found(natives, {});
    return renewCharacteristics();
  }
  if (awaited_ > 0) return later_.push_back([this, search] { searchServices(search); });
  --unanswered_;
  std::optional<std::vector<CBService*>> found;
  if (natives != nil) found = gatt_.found(natives, search.wanted);
  reportServices(std::move(found), errorOf(error));
}

void Peripheral::didDiscoverCharacteristics(::CBService* of, NSError* error) {
  Service* const service = gatt_.serviceOf(of);
  if (service == nullptr || service->asked.empty() || isLinkLost(error)) return;
  const Search search = takeFirst(service->asked);
  std::optional<std::vector<CBCharacteristic*>> found;
  if (error == nil && [of characteristics] != nil) {
    found = service->found([of characteristics], search.wanted);
  }
  if (search.renewal == 0) return reportCharacteristics(*service, std::move(found), errorOf(error));
  if (search.renewal == renewal_) finishRenewal();
}

// The framework reports the answer to a read and a notified value in the same way, and may report a
// value before it confirms the subscription. When a read fails, its object keeps an earlier value.
void Peripheral::didUpdateValue(::CBCharacteristic* of, NSError* error) {
  Characteristic* const known = gatt_.characteristicOf(of);
  if (known == nullptr || isLinkLost(error)) return;
  const bool isAnswer = !known->asked.empty() && known->asked.front() == Asked::read;
  if (isAnswer) known->asked.pop_front();
  if (error != nil) return isAnswer ? reportNoValue(*known, errorOf(error)) : void();
  NSData* const data = [of value];
  const auto* const bytes = static_cast<const std::uint8_t*>([data bytes]);
  const Value value(bytes, [data length]);
  if (isAnswer || known->isSubscribed) {
    main_.delivery.push(*known, value);
  } else if (known->isBeingSubscribed()) {
    known->early.emplace_back(value.begin(), value.end());
  }
}

void Peripheral::didUpdateNotificationState(::CBCharacteristic* of, NSError* error) {
  Characteristic* const known = gatt_.characteristicOf(of);
  if (known == nullptr || isLinkLost(error)) return;
  const auto isOfValues = [](Asked asked) { return asked != Asked::read; };
  const auto question = std::ranges::find_if(known->asked, isOfValues);
  if (question == known->asked.end()) return;
  const Asked asked = *question;
  known->asked.erase(question);
  if (asked == Asked::renewal) {
    known->isSubscribed = error == nil;
    return;
  }
  if (error == nil) known->isSubscribed = asked == Asked::subscription;
  reportNotificationState(*known, errorOf(error));
  for (const auto& value : std::exchange(known->early, {})) {
    if (known->isSubscribed) main_.delivery.push(*known, value);
  }
}

void Peripheral::report(std::function<void()> call) {
  main_.delivery.push([weak = weak_from_this(), call = std::move(call)] {
    if (const auto self = weak.lock()) call();
  });
}

void Peripheral::reportServices(std::optional<std::vector<CBService*>> found,
                                std::optional<Error> error) {
  report([this, found = std::move(found), error = std::move(error)] {
    services_ = found;
    if (delegate_ == nullptr) return;
    delegate_->peripheralDidDiscoverServices(*this, pointerTo(error));
  });
}

void Peripheral::reportCharacteristics(Service& service,
                                       std::optional<std::vector<CBCharacteristic*>> found,
                                       std::optional<Error> error) {
  report([this, &service, found = std::move(found), error = std::move(error)] {
    service.setCharacteristics(found);
    if (delegate_ == nullptr) return;
    delegate_->peripheralDidDiscoverCharacteristicsFor(*this, service, pointerTo(error));
  });
}

void Peripheral::reportNoValue(Characteristic& characteristic, std::optional<Error> error) {
  report([this, &characteristic, error = std::move(error)] {
    if (delegate_ == nullptr) return;
    delegate_->peripheralDidUpdateValueFor(*this, characteristic, pointerTo(error));
  });
}

void Peripheral::reportNotificationState(Characteristic& characteristic,
                                         std::optional<Error> error) {
  report([this, &characteristic, error = std::move(error)] {
    if (delegate_ == nullptr) return;
    delegate_->peripheralDidUpdateNotificationStateFor(*this, characteristic, pointerTo(error));
  });
}

void Peripheral::retain() {
  if (retained_++ == 0) self_ = shared_from_this();
}

void Peripheral::release() {
  if (--retained_ == 0) const auto last = std::move(self_);
}

}  // namespace platform::corebluetooth
