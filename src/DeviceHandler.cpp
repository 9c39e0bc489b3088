#include "DeviceHandler.h"

#include <algorithm>
#include <string>
#include <utility>

#include "Precondition.h"
#include "Utils.h"

using platform::CBCharacteristic;
using platform::CBPeripheral;
using platform::CBService;
using platform::CBUUID;
using platform::Error;

namespace {

bool servicesDiscovered(const CBPeripheral& device, const Error* error) {
  if (device.services() != nullptr && error == nullptr) return true;
  require(error != nullptr);
  const auto name = device.name();
  require(name.has_value());
  writeLine("erreur de lecture des services " + error->description() + " de " + *name);
  return false;
}

std::vector<CBUUID> characteristicsIn(const CBUUID& service, const Family& family) {
  std::vector<CBUUID> identifiers;
  for (const KnownCharacteristic& known : family.characteristics) {
    if (known.service == service) identifiers.push_back(known.uuid);
  }
  return identifiers;
}

}  // namespace

DeviceHandler::DeviceHandler(std::shared_ptr<CBPeripheral> device, const Family& family)
    : peripheral(std::move(device)), family_(family) {}

std::vector<CBUUID> DeviceHandler::services() const {
  return servicesOf(family_.characteristics);
}

void DeviceHandler::peripheralDidDiscoverServices(CBPeripheral& device, const Error* error) {
  if (!servicesDiscovered(device, error)) return;
  for (CBService* service : *device.services()) {
    const std::vector<CBUUID> characteristics = characteristicsIn(service->UUID(), family_);
    if (!characteristics.empty()) {
      device.discoverCharacteristics(characteristics, *service);
    } else if (family_.logsUnknownServices) {
      writeLine("service inconnu : " + service->UUID().description());
    }
  }
}

void DeviceHandler::peripheralDidDiscoverCharacteristicsFor(CBPeripheral& device,
                                                            CBService& service, const Error*) {
  if (service.characteristics() == nullptr) return;
  for (CBCharacteristic* characteristic : *service.characteristics()) {
    useCharacteristic(device, *characteristic);
  }
}

// The service in which the characteristic was found does not matter.
void DeviceHandler::useCharacteristic(CBPeripheral& device, CBCharacteristic& characteristic) {
  const auto known =
      std::ranges::find(family_.characteristics, characteristic.UUID(), &KnownCharacteristic::uuid);
  if (known == family_.characteristics.end()) return;
  if (known->keptIn != nullptr) this->*known->keptIn = &characteristic;
  if (known->use == Use::read || known->use == Use::readThenSubscribe) {
    device.readValue(characteristic);
  }
  if (known->use == Use::subscribe || known->use == Use::readThenSubscribe) {
    device.setNotifyValue(true, characteristic);
  }
}
