#include "platform/bluez/Peripheral.h"

namespace platform::bluez {

Peripheral::Peripheral(std::shared_ptr<Loop> loop)
    : loop_(std::move(loop)), gatt_(*this), link_(*this), requests_(*this) {}

Peripheral::~Peripheral() = default;

void Peripheral::discoverServices(std::span<const CBUUID> services) {
  Request request{Request::Kind::discoverServices};
  request.identifiers.assign(services.begin(), services.end());
  post(std::move(request));
}

void Peripheral::discoverCharacteristics(std::span<const CBUUID> characteristics,
                                         CBService& service) {
  Request request{Request::Kind::discoverCharacteristics};
  request.service = static_cast<Service*>(&service);
  request.identifiers.assign(characteristics.begin(), characteristics.end());
  post(std::move(request));
}

void Peripheral::setNotifyValue(bool enabled, CBCharacteristic& characteristic) {
  Request request{enabled ? Request::Kind::subscribe : Request::Kind::unsubscribe};
  request.characteristic = static_cast<Characteristic*>(&characteristic);
  post(std::move(request));
}

void Peripheral::readValue(CBCharacteristic& characteristic) {
  Request request{Request::Kind::read};
  request.characteristic = static_cast<Characteristic*>(&characteristic);
  post(std::move(request));
}

void Peripheral::writeValue(Value value, CBCharacteristic& characteristic,
                            CBCharacteristicWriteType /*type*/) {
  Request request{Request::Kind::write};
  request.characteristic = static_cast<Characteristic*>(&characteristic);
  request.bytes.assign(value.begin(), value.end());
  post(std::move(request));
}

// Requests of all threads go through the mailbox, which keeps them in the order in which they were
// made.
void Peripheral::post(Request request) {
  loop_->mailbox().post([peripheral = weak_from_this(), request = std::move(request)]() mutable {
    if (const auto self = peripheral.lock()) self->requests_.add(std::move(request));
  });
}

void Peripheral::deviceDidChange(std::string_view path, const DeviceProperties& properties) {
  path_ = path;
  if (properties.name && !properties.name->empty()) name_ = *properties.name;
  if (properties.connected) setConnected(*properties.connected);
  if (properties.servicesResolved) {
    areServicesResolved_ = *properties.servicesResolved;
    if (areServicesResolved_) requests_.servicesDidResolve();
  }
  link_.step();
}

void Peripheral::linkDidComeUp() {
  setConnected(true);
  link_.step();
}

void Peripheral::deviceDidDisappear() {
  link_.deviceDidDisappear();
  setConnected(false);
  path_.clear();
}

void Peripheral::setConnected(bool isConnected) {
  if (isConnected_ == isConnected) return;
  isConnected_ = isConnected;
  if (isConnected) return;
  areServicesResolved_ = false;
  requests_.linkDidGoDown();
  gatt_.endSubscriptions();
}

void Peripheral::objectDidDisappear(std::string_view path) {
  gatt_.endSubscriptionOf(path);
  requests_.objectDidDisappear(path);
}

bool Peripheral::isNewsFor(unsigned scan) const {
  return reportedScan_ != scan || (!reportedName_ && name_.has_value());
}

void Peripheral::setReportedFor(unsigned scan) {
  reportedScan_ = scan;
  reportedName_ = name_.has_value();
}

void Peripheral::retain() {
  if (retained_++ == 0) self_ = shared_from_this();
}

void Peripheral::release() {
  if (--retained_ > 0) return;
  // This may be the last reference.
  const std::shared_ptr<Peripheral> self = std::move(self_);
}

}  // namespace platform::bluez
