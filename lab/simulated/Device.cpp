#include "lab/simulated/Device.h"

#include <cstdlib>
#include <utility>

#include "lab/simulated/Peripheral.h"

namespace platform::simulated {

Error attError(int code) {
  switch (code) {
    case 0x02:
      return {"CBATTErrorDomain", code, "read not permitted"};
    case 0x03:
      return {"CBATTErrorDomain", code, "write not permitted"};
    case 0x05:
      return {"CBATTErrorDomain", code, "insufficient authentication"};
    case 0x06:
      return {"CBATTErrorDomain", code, "request not supported"};
    case 0x0D:
      return {"CBATTErrorDomain", code, "invalid value length"};
    default:
      return {"CBATTErrorDomain", code, "attribute error " + std::to_string(code)};
  }
}

DeviceService& Device::service(const CBUUID& identifier) {
  for (DeviceService& service : services) {
    if (service.uuid == identifier) return service;
  }
  std::abort();
}

DeviceCharacteristic& Device::characteristic(const CBUUID& identifier) {
  for (DeviceService& service : services) {
    for (DeviceCharacteristic& characteristic : service.characteristics) {
      if (characteristic.uuid == identifier) return characteristic;
    }
  }
  std::abort();
}

void Device::setName(std::optional<std::string> name) {
  name_ = std::move(name);
  peripheral_.nameDidChange();
}

void Device::appear() {
  if (std::exchange(isPresent_, true)) return;
  peripheral_.startAdvertising();
  peripheral_.tryToConnect();
}

void Device::vanish() {
  if (!std::exchange(isPresent_, false)) return;
  peripheral_.loseLink();
  peripheral_.tryToConnect();
}

void Device::setConnectable(bool connectable) {
  isConnectable_ = connectable;
  peripheral_.tryToConnect();
}

bool Device::isConnected() const {
  return peripheral_.isLinked();
}

void Device::dropLink() {
  peripheral_.loseLink();
}

bool Device::notify(DeviceCharacteristic& characteristic, Value value) {
  if (!characteristic.forcedLength) return peripheral_.receive(characteristic, value);
  reshaped_.assign(value.begin(), value.end());
  reshaped_.resize(*characteristic.forcedLength);
  return peripheral_.receive(characteristic, reshaped_);
}

}  // namespace platform::simulated
