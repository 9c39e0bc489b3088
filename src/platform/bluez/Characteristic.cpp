#include "platform/bluez/Characteristic.h"

#include "platform/bluez/Loop.h"
#include "platform/bluez/Objects.h"
#include "platform/bluez/Peripheral.h"

namespace platform::bluez {

Characteristic::Characteristic(Peripheral& peripheral, const CBUUID& uuid, std::string path,
                               Source source)
    : CBCharacteristic(uuid), peripheral_(peripheral), path_(std::move(path)), source_(source) {}

void Characteristic::receiveFrom(Descriptor socket) {
  socket_ = std::make_unique<NotifySocket>(peripheral_.loop(), std::move(socket), *this,
                                           [this] { endSubscription(); });
}

void Characteristic::listen() {
  const char* interface = source_ == Source::battery ? kBatteryInterface : kCharacteristicInterface;
  signals_ = std::make_unique<Match>(peripheral_.loop().useBus(),
                                     propertiesChangedRule("path", path_, interface),
                                     [this](sd_bus_message* signal) { handleSignal(signal); });
}

void Characteristic::begin() {
  hasBegun_ = true;
  for (const Bytes& value : early_) push(value);
  early_.clear();
}

void Characteristic::endSubscription() {
  readDidEnd(false);
  socket_.reset();
  signals_.reset();
  hasBegun_ = false;
  early_.clear();
}

void Characteristic::readDidBegin() {
  isReading_ = true;
}

void Characteristic::readDidEnd(bool hasSucceeded) {
  if (echo_ && !hasSucceeded) take(*echo_);
  echo_.reset();
  isReading_ = false;
}

void Characteristic::handleSignal(sd_bus_message* signal) {
  if (!peripheral_.loop().useBus().isFromStack(signal)) return;
  const auto object = parsePropertiesChanged(signal);
  if (!object) return;
  if (object->characteristic && object->characteristic->value) {
    handleSignalled(*object->characteristic->value);
  }
  if (object->battery && object->battery->percentage) {
    push(Value(&*object->battery->percentage, 1));
  }
}

void Characteristic::handleSignalled(Value value) {
  if (!isReading_) return take(value);
  if (echo_) take(*echo_);
  echo_.emplace(value.begin(), value.end());
}

void Characteristic::take(Value value) {
  if (hasBegun_) return push(value);
  early_.emplace_back(value.begin(), value.end());
}

void Characteristic::push(Value value) {
  peripheral_.loop().deliveries().push(*this, value);
}

void Characteristic::deliver(Value value) {
  CBPeripheralDelegate* delegate = peripheral_.delegate();
  if (delegate == nullptr) return;
  value_ = value;
  delegate->peripheralDidUpdateValueFor(peripheral_, *this, nullptr);
  value_.reset();
}

void Characteristic::deliver(const Error& error) {
  CBPeripheralDelegate* delegate = peripheral_.delegate();
  if (delegate != nullptr) delegate->peripheralDidUpdateValueFor(peripheral_, *this, &error);
}

void Characteristic::retain() {
  peripheral_.retain();
}

void Characteristic::release() {
  peripheral_.release();
}

}  // namespace platform::bluez
