#include "platform/bluez/RequestQueue.h"

#include <algorithm>
#include <memory>

#include "platform/bluez/Objects.h"
#include "platform/bluez/Peripheral.h"

namespace platform::bluez {

namespace {

Error linkLost() {
  return Error{"org.bluez.Error.NotConnected", 0, "The link was lost"};
}

bool isAmong(const CBUUID& uuid, const std::vector<CBUUID>& uuids) {
  return std::ranges::find(uuids, uuid) != uuids.end();
}

}  // namespace

RequestQueue::RequestQueue(Peripheral& peripheral) : peripheral_(peripheral) {}

void RequestQueue::add(Request request) {
  if (peripheral_.isConnected()) {
    requests_.push_back(std::move(request));
    if (phase_ == Phase::idle) startNext();
  } else if (request.kind == Request::Kind::discoverServices) {
    tellServicesError(linkLost());
  }
}

void RequestQueue::linkDidGoDown() {
  call_.cancel();
  subscribers_.clear();
  phase_ = Phase::idle;
  for (const Request& request : requests_) {
    if (request.kind == Request::Kind::discoverServices) tellServicesError(linkLost());
  }
  requests_.clear();
}

void RequestQueue::servicesDidResolve() {
  if (phase_ == Phase::awaitingServices) discoverServices();
}

// BlueZ never answers a request once its characteristic's object is gone.
void RequestQueue::objectDidDisappear(std::string_view path) {
  const Error error{"org.bluez.Error.DoesNotExist", 0, "The characteristic is gone"};
  for (Subscriber& subscriber : subscribers_) {
    if (subscriber.characteristic().path() == path) subscriber.refuseIfLinkHolds(error);
  }
  if (phase_ != Phase::underWay || requests_.front().kind == Request::Kind::subscribe ||
      requests_.front().characteristic == nullptr ||
      requests_.front().characteristic->path() != path) {
    return;
  }
  refuseIfLinkHolds(error);
}

void RequestQueue::startNext() {
  while (phase_ == Phase::idle) {
    const auto next = std::ranges::find_if_not(
        requests_, [this](const Request& request) { return isHeldBack(request); });
    if (next == requests_.end()) return;
    requests_.splice(requests_.begin(), requests_, next);
    start(*next);
  }
}

bool RequestQueue::isHeldBack(const Request& request) const {
  if (request.kind != Request::Kind::subscribe && request.kind != Request::Kind::unsubscribe) {
    return false;
  }
  return std::ranges::any_of(subscribers_, [&request](const Subscriber& subscriber) {
    return &subscriber.characteristic() == request.characteristic;
  });
}

void RequestQueue::start(Request& request) {
  phase_ = Phase::underWay;
  switch (request.kind) {
    case Request::Kind::discoverServices:
      return discoverServices();
    case Request::Kind::discoverCharacteristics:
      return discoverCharacteristics(request);
    case Request::Kind::read:
      return read(*request.characteristic);
    case Request::Kind::subscribe:
      return subscribe(*request.characteristic);
    case Request::Kind::unsubscribe:
      return unsubscribe(*request.characteristic);
    case Request::Kind::write:
      return write(request);
  }
}

// Does not start the next request; callers do, by startNext.
void RequestQueue::finish() {
  requests_.pop_front();
  phase_ = Phase::idle;
}

void RequestQueue::discoverServices() {
  if (!peripheral_.areServicesResolved()) {
    phase_ = Phase::awaitingServices;
    return;
  }
  phase_ = Phase::underWay;
  // From a new list of objects, since their signals need not have come before ServicesResolved.
  const Bus& bus = peripheral_.loop().useBus();
  call_.start(bus, bus.managedObjects(), [this](sd_bus_message* reply) { handleObjects(reply); });
}

void RequestQueue::handleObjects(sd_bus_message* reply) {
  const auto objects = isError(reply) ? std::nullopt : parseManagedObjects(reply);
  if (!objects) return refuseIfLinkHolds(errorOf(reply));
  // They have changed since they were asked for; BlueZ will signal when they are resolved again.
  if (!peripheral_.areServicesResolved()) {
    phase_ = Phase::awaitingServices;
    return;
  }
  std::vector<CBService*> found;
  for (Service* service : peripheral_.gatt().read(*objects, peripheral_.path())) {
    if (isAmong(service->UUID(), requests_.front().identifiers)) found.push_back(service);
  }
  tellServices(std::move(found));
  finish();
  startNext();
}

void RequestQueue::discoverCharacteristics(const Request& request) {
  std::vector<CBCharacteristic*> found;
  for (Characteristic* characteristic : request.service->all()) {
    if (isAmong(characteristic->UUID(), request.identifiers)) found.push_back(characteristic);
  }
  peripheral_.loop().deliveries().push(
      [peripheral = peripheral_.shared_from_this(), service = request.service, found] {
        service->setCharacteristics(found);
        CBPeripheralDelegate* delegate = peripheral->delegate();
        if (delegate == nullptr) return;
        delegate->peripheralDidDiscoverCharacteristicsFor(*peripheral, *service, nullptr);
      });
  finish();
}

void RequestQueue::read(Characteristic& characteristic) {
  if (characteristic.source() == Characteristic::Source::battery) {
    return readBattery(characteristic);
  }
  const Bus& bus = peripheral_.loop().useBus();
  const Message call = bus.method(characteristic.path(), kCharacteristicInterface, "ReadValue");
  if (call != nullptr) sd_bus_message_append(call.get(), "a{sv}", 0);
  characteristic.readDidBegin();
  call_.start(bus, call, [this, &characteristic](sd_bus_message* reply) {
    const auto value = isError(reply) ? std::nullopt : parseValue(reply);
    characteristic.readDidEnd(value.has_value());
    if (!value) return refuseIfLinkHolds(errorOf(reply));
    tellRead(characteristic, *value);
    finish();
    startNext();
  });
}

void RequestQueue::readBattery(Characteristic& characteristic) {
  const Bus& bus = peripheral_.loop().useBus();
  call_.start(bus, bus.property(characteristic.path(), kBatteryInterface, "Percentage"),
              [this, &characteristic](sd_bus_message* reply) {
                const auto level = isError(reply) ? std::nullopt : parsePercentage(reply);
                if (!level) return refuseIfLinkHolds(errorOf(reply));
                tellRead(characteristic, Value(&*level, 1));
                finish();
                startNext();
              });
}

void RequestQueue::subscribe(Characteristic& characteristic) {
  if (characteristic.isSubscribed()) {
    tellNotificationState(characteristic, std::nullopt);
    return finish();
  }
  Subscriber& subscriber = subscribers_.emplace_back(peripheral_, characteristic);
  const auto whenLate = [this] {
    finish();
    startNext();
  };
  subscriber.start(whenLate, [this, &subscriber](const std::optional<Error>& refusal) {
    didDecide(subscriber, refusal);
  });
}

// The device answers its requests one after the other. Late subscriptions may have waited for this
// one, so their time begins again.
void RequestQueue::didDecide(Subscriber& subscriber, const std::optional<Error>& refusal) {
  Characteristic& characteristic = subscriber.characteristic();
  tellNotificationState(characteristic, refusal);
  if (!refusal) characteristic.begin();
  if (!subscriber.isLate()) finish();
  subscribers_.remove_if([&](const Subscriber& each) { return &each == &subscriber; });
  for (Subscriber& other : subscribers_) other.waitAnew();
  startNext();
}

// An acquired subscription is ended by closing its socket, which nothing confirms. BlueZ may answer
// the first round trip in a turn of its loop that began before the socket was closed. It notices
// the end in the next turn, so before it handles what is sent after the second.
void RequestQueue::unsubscribe(Characteristic& characteristic) {
  const Bus& bus = peripheral_.loop().useBus();
  const bool isOnBlueZ = characteristic.source() == Characteristic::Source::characteristic;
  if (!characteristic.isSubscribed() || !isOnBlueZ) {
    characteristic.endSubscription();
    tellNotificationState(characteristic, std::nullopt);
    return finish();
  }
  const auto whenEnded = [this, &characteristic] {
    characteristic.endSubscription();
    tellNotificationState(characteristic, std::nullopt);
    finish();
    startNext();
  };
  if (characteristic.hasSocket()) {
    characteristic.endSubscription();
    return call_.startRoundTrip(bus, peripheral_.path(), [this, whenEnded] {
      call_.startRoundTrip(peripheral_.loop().useBus(), peripheral_.path(), whenEnded);
    });
  }
  call_.start(bus, bus.method(characteristic.path(), kCharacteristicInterface, "StopNotify"),
              [whenEnded](sd_bus_message* /*reply*/) { whenEnded(); });
}

void RequestQueue::write(const Request& request) {
  const Bus& bus = peripheral_.loop().useBus();
  const Message call =
      bus.method(request.characteristic->path(), kCharacteristicInterface, "WriteValue");
  if (call != nullptr) {
    sd_bus_message_append_array(call.get(), SD_BUS_TYPE_BYTE, request.bytes.data(),
                                request.bytes.size());
    sd_bus_message_append(call.get(), "a{sv}", 1, "type", "s", "request");
  }
  call_.start(bus, call, [this](sd_bus_message* /*reply*/) {
    finish();
    startNext();
  });
}

// An error may mean that the device refuses, or that the link is going down, in which case there is
// no callback. BlueZ signals the loss of the link before or after the error, but no later than the
// round trip ends.
void RequestQueue::refuseIfLinkHolds(const Error& error) {
  call_.startRoundTrip(peripheral_.loop().useBus(), peripheral_.path(), [this, error] {
    tellRefusal(requests_.front(), error);
    finish();
    startNext();
  });
}

void RequestQueue::tellRefusal(const Request& request, const Error& error) {
  switch (request.kind) {
    case Request::Kind::discoverServices:
      return tellServicesError(error);
    case Request::Kind::read:
      return peripheral_.loop().deliveries().push([peripheral = peripheral_.shared_from_this(),
                                                   characteristic = request.characteristic,
                                                   error] { characteristic->deliver(error); });
    case Request::Kind::discoverCharacteristics:
    case Request::Kind::subscribe:  // Subscriber handles its refusals itself
    case Request::Kind::unsubscribe:
    case Request::Kind::write:
      return;
  }
}

void RequestQueue::tellServices(std::vector<CBService*> services) {
  peripheral_.loop().deliveries().push(
      [peripheral = peripheral_.shared_from_this(), services = std::move(services)] {
        peripheral->setServices(services);
        CBPeripheralDelegate* delegate = peripheral->delegate();
        if (delegate != nullptr) delegate->peripheralDidDiscoverServices(*peripheral, nullptr);
      });
}

void RequestQueue::tellServicesError(const Error& error) {
  peripheral_.loop().deliveries().push([peripheral = peripheral_.shared_from_this(), error] {
    peripheral->setServices(std::nullopt);
    CBPeripheralDelegate* delegate = peripheral->delegate();
    if (delegate != nullptr) delegate->peripheralDidDiscoverServices(*peripheral, &error);
  });
}

void RequestQueue::tellRead(Characteristic& characteristic, Value value) {
  peripheral_.loop().deliveries().push(characteristic, value);
}

void RequestQueue::tellNotificationState(Characteristic& characteristic,
                                         const std::optional<Error>& error) {
  peripheral_.loop().deliveries().push(
      [peripheral = peripheral_.shared_from_this(), &characteristic, error] {
        CBPeripheralDelegate* delegate = peripheral->delegate();
        if (delegate == nullptr) return;
        delegate->peripheralDidUpdateNotificationStateFor(*peripheral, characteristic,
                                                          error ? &*error : nullptr);
      });
}

}  // namespace platform::bluez
