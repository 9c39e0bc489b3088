#include "tests/lab/simulated/Bridge.h"

namespace simulated_test {
namespace {

std::string hex(Value value) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  for (const std::uint8_t byte : value) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0x0F];
  }
  return text;
}

}  // namespace

CBCharacteristic* Bridge::find(const CBUUID& identifier) const {
  for (const CBService* service : *peripheral->services()) {
    for (CBCharacteristic* characteristic : *service->characteristics()) {
      if (characteristic->UUID() == identifier) return characteristic;
    }
  }
  return nullptr;
}

void Bridge::centralManagerDidUpdateState(platform::CBCentralManager& central) {
  words.push_back("state " + std::to_string(static_cast<int>(central.state())));
  if (central.state() == CBManagerState::poweredOn) central.scanForPeripherals();
}

void Bridge::centralManagerDidDiscover(platform::CBCentralManager& central,
                                       const std::shared_ptr<CBPeripheral>& device) {
  const std::optional<std::string> name = device->name();
  words.push_back(name ? "found " + *name : "found");
  peripheral = device;
  peripheral->setDelegate(this);
  if (connects) central.connect(peripheral);
}

void Bridge::centralManagerDidConnect(platform::CBCentralManager&,
                                      const std::shared_ptr<CBPeripheral>& device) {
  words.push_back("connected");
  device->discoverServices(services);
}

void Bridge::peripheralDidDiscoverServices(CBPeripheral& device, const Error* error) {
  if (error != nullptr) {
    words.push_back("services error");
    return;
  }
  words.push_back("services " + std::to_string(device.services()->size()));
  for (CBService* service : *device.services()) {
    device.discoverCharacteristics(characteristics, *service);
  }
}

void Bridge::peripheralDidDiscoverCharacteristicsFor(CBPeripheral& device, CBService& service,
                                                     const Error* error) {
  if (error != nullptr) {
    words.push_back("characteristics error");
    return;
  }
  words.push_back("characteristics " + std::to_string(service.characteristics()->size()));
  for (CBCharacteristic* characteristic : *service.characteristics()) {
    if (onFound) onFound(device, *characteristic);
  }
}

void Bridge::peripheralDidUpdateValueFor(CBPeripheral&, CBCharacteristic& characteristic,
                                         const Error* error) {
  if (onValue) return onValue(characteristic);
  words.push_back("value " + (error != nullptr ? "error" : hex(*characteristic.value())));
}

void Bridge::peripheralDidUpdateNotificationStateFor(CBPeripheral&, CBCharacteristic&,
                                                     const Error* error) {
  words.push_back(error != nullptr ? "subscribed error" : "subscribed");
}

}  // namespace simulated_test
