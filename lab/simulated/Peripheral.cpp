#include "lab/simulated/Peripheral.h"

#include <algorithm>
#include <utility>

#include "lab/simulated/Central.h"

namespace platform::simulated {
namespace {

constexpr Time kPauseBetweenAttempts = std::chrono::seconds(1);

constexpr int kReadNotPermitted = 0x02;
constexpr int kRequestNotSupported = 0x06;

Error linkLost() {
  return {"CBErrorDomain", 7, "the link was lost"};
}

Time sum(Time a, Time b) {
  return a == kNever || b == kNever ? kNever : a + b;
}

const CBUUID* identifierOf(const Request& request) {
  if (request.characteristic != nullptr) return &request.characteristic->UUID();
  return request.service != nullptr ? &request.service->UUID() : nullptr;
}

bool isAmong(const CBUUID& identifier, const std::vector<CBUUID>& identifiers) {
  return std::find(identifiers.begin(), identifiers.end(), identifier) != identifiers.end();
}

const Error* pointerTo(const Refusal& refusal) {
  return refusal ? &*refusal : nullptr;
}

}  // namespace

void Peripheral::discoverServices(std::span<const CBUUID> services) {
  Request request{RequestKind::discoverServices};
  request.identifiers.assign(services.begin(), services.end());
  post(std::move(request));
}

void Peripheral::discoverCharacteristics(std::span<const CBUUID> characteristics,
                                         CBService& service) {
  Request request{RequestKind::discoverCharacteristics};
  request.service = static_cast<Service*>(&service);
  request.identifiers.assign(characteristics.begin(), characteristics.end());
  post(std::move(request));
}

void Peripheral::setNotifyValue(bool enabled, CBCharacteristic& characteristic) {
  Request request{enabled ? RequestKind::subscribe : RequestKind::unsubscribe};
  request.characteristic = static_cast<Characteristic*>(&characteristic);
  post(std::move(request));
}

void Peripheral::readValue(CBCharacteristic& characteristic) {
  Request request{RequestKind::read};
  request.characteristic = static_cast<Characteristic*>(&characteristic);
  post(std::move(request));
}

void Peripheral::writeValue(Value value, CBCharacteristic& characteristic,
                            CBCharacteristicWriteType) {
  Request request{RequestKind::write};
  request.characteristic = static_cast<Characteristic*>(&characteristic);
  request.value.assign(value.begin(), value.end());
  post(std::move(request));
}

std::optional<std::string> Peripheral::nameOnAir() const {
  return isLinked_ && device_.nameWhenConnected ? device_.nameWhenConnected : device_.name();
}

void Peripheral::startAdvertising() {
  if (air_.central != nullptr) air_.central->didAdvertise(*this);
}

void Peripheral::nameDidChange() {
  if (isLinked_) air_.deliveries.push([this, name = nameOnAir()] { name_ = name; });
  if (air_.central != nullptr) air_.central->nameDidChange(*this);
}

void Peripheral::want() {
  if (isLinked_) {
    if (air_.central != nullptr) air_.central->linkDidComeUp(*this);
    return;
  }
  isWanted_ = true;
  tryToConnect();
}

void Peripheral::unwant() {
  isWanted_ = false;
  isAttempting_ = false;
}

void Peripheral::tryToConnect() {
  const bool isPossible =
      isWanted_ && air_.isPoweredOn() && device_.isPresent() && device_.isConnectable();
  if (!isPossible) isAttempting_ = false;
  if (!isPossible || isAttempting_ || isLinked_) return;
  isAttempting_ = true;
  air_.after(device_.connectDelay, [this, attempt = ++attempt_] {
    if (isAttempting_ && attempt == attempt_) finishAttempt();
  });
}

void Peripheral::finishAttempt() {
  isAttempting_ = false;
  if (!device_.refusesLink || !device_.refusesLink()) return linkUp();
  air_.after(kPauseBetweenAttempts, [this] { tryToConnect(); });
}

void Peripheral::linkUp() {
  isWanted_ = false;
  isLinked_ = true;
  const std::uint64_t link = ++attempt_;
  if (device_.onConnected) device_.onConnected();
  if (link != attempt_ || air_.central == nullptr) return;
  air_.central->linkDidComeUp(*this);
  air_.central->nameDidChange(*this);
}

void Peripheral::loseLink() {
  if (!isLinked_) return;
  isLinked_ = false;
  ++attempt_;
  for (DeviceService& service : device_.services) {
    for (DeviceCharacteristic& characteristic : service.characteristics) {
      characteristic.subscriber = nullptr;
      characteristic.early.reset();
    }
  }
  for (const Request& request : std::exchange(requests_, {})) {
    if (request.kind == RequestKind::discoverServices) postServicesError(linkLost());
  }
  if (device_.onDisconnected) device_.onDisconnected();
  if (air_.central != nullptr) air_.central->linkDidGoDown(*this);
  tryToConnect();
}

void Peripheral::post(Request request) {
  air_.mailbox.post([this, request = std::move(request)]() mutable { accept(std::move(request)); });
}

void Peripheral::accept(Request request) {
  if (!isLinked_) {
    if (request.kind != RequestKind::discoverServices) return;
    return air_.after(Time{0}, [this] { postServicesError(linkLost()); });
  }
  requests_.push_back(std::move(request));
  if (requests_.size() == 1) startNext();
}

void Peripheral::startNext() {
  if (requests_.empty()) return;
  const Characteristic* characteristic = requests_.front().characteristic;
  const Time own = characteristic != nullptr ? characteristic->onDevice().responseDelay : Time{0};
  air_.after(sum(device_.responseDelay, own), [this, link = attempt_] {
    if (isLinked_ && link == attempt_) carryOutNext();
  });
}

// A hook of the device may drop the link: attempt_ tells afterwards whether it is still the same.
void Peripheral::carryOutNext() {
  const std::uint64_t link = attempt_;
  if (device_.onRequest) {
    const Request& request = requests_.front();
    device_.onRequest(request.kind, identifierOf(request));
    if (std::exchange(device_.isAnswerWithheld_, false) || link != attempt_) return;
  }
  const Request request = std::move(requests_.front());
  requests_.pop_front();
  carryOut(request);
  if (link == attempt_) startNext();
}

void Peripheral::carryOut(const Request& request) {
  switch (request.kind) {
    case RequestKind::discoverServices:
      return answerServices(request);
    case RequestKind::discoverCharacteristics:
      return answerCharacteristics(request);
    case RequestKind::read:
      return answerRead(*request.characteristic);
    case RequestKind::write:
      return answerWrite(request);
    case RequestKind::subscribe:
      return subscribe(*request.characteristic);
    case RequestKind::unsubscribe:
      return unsubscribe(*request.characteristic);
  }
}

void Peripheral::postServicesError(const Error& error) {
  air_.deliveries.push([this, error] {
    services_.reset();
    if (delegate_ != nullptr) delegate_->peripheralDidDiscoverServices(*this, &error);
  });
}

void Peripheral::answerServices(const Request& request) {
  if (device_.servicesRefusal) return postServicesError(*device_.servicesRefusal);
  std::vector<CBService*> found;
  for (DeviceService& service : device_.services) {
    if (service.hidden || !isAmong(service.uuid, request.identifiers)) continue;
    found.push_back(allServices_.emplace_back(std::make_unique<Service>(service)).get());
  }
  air_.deliveries.push([this, found = std::move(found)] {
    services_ = found;
    if (delegate_ != nullptr) delegate_->peripheralDidDiscoverServices(*this, nullptr);
  });
}

void Peripheral::answerCharacteristics(const Request& request) {
  Service& service = *request.service;
  std::optional<std::vector<CBCharacteristic*>> found;
  const Refusal refusal = service.onDevice().characteristicsRefusal;
  if (!refusal) {
    found.emplace();
    for (DeviceCharacteristic& characteristic : service.onDevice().characteristics) {
      if (!isAmong(characteristic.uuid, request.identifiers)) continue;
      auto object = std::make_unique<Characteristic>(*this, characteristic);
      found->push_back(allCharacteristics_.emplace_back(std::move(object)).get());
    }
  }
  air_.deliveries.push([this, &service, found = std::move(found), refusal] {
    service.setCharacteristics(found);
    if (delegate_ == nullptr) return;
    delegate_->peripheralDidDiscoverCharacteristicsFor(*this, service, pointerTo(refusal));
  });
}

void Peripheral::answerRead(Characteristic& characteristic) {
  DeviceCharacteristic& onDevice = characteristic.onDevice();
  const std::uint64_t link = attempt_;
  ReadResult result = onDevice.value;
  if (!onDevice.readable) {
    result = attError(kReadNotPermitted);
  } else if (onDevice.readRefusal) {
    result = *onDevice.readRefusal;
  } else if (onDevice.onRead) {
    result = onDevice.onRead();
  }
  if (link != attempt_) return;
  if (Bytes* value = std::get_if<Bytes>(&result); value != nullptr && onDevice.forcedLength) {
    value->resize(*onDevice.forcedLength);
  }
  air_.deliveries.push([this, &characteristic, result = std::move(result)] {
    if (const Bytes* value = std::get_if<Bytes>(&result)) {
      deliverValue(characteristic, *value);
    } else if (delegate_ != nullptr) {
      delegate_->peripheralDidUpdateValueFor(*this, characteristic, &std::get<Error>(result));
    }
  });
}

// No callback follows, not even when the device refuses.
void Peripheral::answerWrite(const Request& request) {
  DeviceCharacteristic& onDevice = request.characteristic->onDevice();
  if (!onDevice.writable || onDevice.writeRefusal) return;
  if (onDevice.onWrite) onDevice.onWrite(request.value);
}

void Peripheral::subscribe(Characteristic& characteristic) {
  DeviceCharacteristic& onDevice = characteristic.onDevice();
  const std::uint64_t link = attempt_;
  Refusal refusal =
      onDevice.notifies ? onDevice.subscriptionRefusal : attError(kRequestNotSupported);
  if (!refusal && !onDevice.isSubscribed() && onDevice.onSubscribe) {
    onDevice.early.emplace();
    refusal = onDevice.onSubscribe(true);
    if (link != attempt_) return;
  }
  const std::optional<std::vector<Bytes>> early = std::exchange(onDevice.early, std::nullopt);
  postNotificationState(characteristic, refusal);
  if (refusal) return;
  onDevice.subscriber = &characteristic;
  if (!early) return;
  for (const Bytes& value : *early) receive(onDevice, value);
}

void Peripheral::unsubscribe(Characteristic& characteristic) {
  DeviceCharacteristic& onDevice = characteristic.onDevice();
  const std::uint64_t link = attempt_;
  if (std::exchange(onDevice.subscriber, nullptr) != nullptr && onDevice.onSubscribe) {
    onDevice.onSubscribe(false);
    if (link != attempt_) return;
  }
  postNotificationState(characteristic, std::nullopt);
}

void Peripheral::postNotificationState(Characteristic& characteristic, Refusal refusal) {
  air_.deliveries.push([this, &characteristic, refusal = std::move(refusal)] {
    if (delegate_ == nullptr) return;
    delegate_->peripheralDidUpdateNotificationStateFor(*this, characteristic, pointerTo(refusal));
  });
}

bool Peripheral::receive(DeviceCharacteristic& characteristic, Value value) {
  if (characteristic.early) {
    characteristic.early->emplace_back(value.begin(), value.end());
    return true;
  }
  if (characteristic.subscriber == nullptr) return true;
  if (air_.deliveries.isFull()) return false;
  air_.deliveries.push(*characteristic.subscriber, value);
  return true;
}

void Characteristic::deliver(Value value) {
  peripheral_.deliverValue(*this, value);
}

void Peripheral::deliverValue(Characteristic& characteristic, Value value) {
  if (delegate_ == nullptr) return;
  characteristic.setValue(value);
  delegate_->peripheralDidUpdateValueFor(*this, characteristic, nullptr);
  characteristic.setValue(std::nullopt);
}

}  // namespace platform::simulated
