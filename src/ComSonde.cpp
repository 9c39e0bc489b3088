#include "ComSonde.h"

#include <utility>

#include "Bytes.h"
#include "Discovery.h"
#include "GattIdentifiers.h"
#include "Payload.h"
#include "Precondition.h"
#include "Text.h"
#include "Utils.h"

using platform::CBCharacteristic;
using platform::CBPeripheral;
using platform::CBService;
using platform::CBUUID;
using platform::Error;
using platform::Value;

namespace {

constexpr CBUUID kIlo[] = {charac_ilo};
constexpr CBUUID kTenoval[] = {charac_tenoval};
constexpr CBUUID kBattery[] = {charac_batt};
constexpr KnownService kServices[] = {
    {service_ilo, kIlo}, {service_tenoval, kTenoval}, {service_batt, kBattery}};

bool hasIloName(const CBPeripheral& peripheral) {
  const auto name = peripheral.name();
  require(name.has_value());
  return beginsWith(lowerCase(*name), "ilo");
}

}  // namespace

ComSonde::ComSonde(std::shared_ptr<CBPeripheral> device)
    : peripheral(std::move(device)), isIlo(hasIloName(*peripheral)) {
  peripheral->setDelegate(this);
  sendQuelmar(isIlo ? "C;1;" : "C;2;");
}

void ComSonde::peripheralDidDiscoverServices(CBPeripheral& device, const Error* error) {
  if (!servicesDiscovered(device, error)) return;
  for (CBService* service : *device.services()) {
    discoverCharacteristicsOf(device, *service, kServices);
  }
}

void ComSonde::peripheralDidDiscoverCharacteristicsFor(CBPeripheral& device, CBService& service,
                                                       const Error*) {
  if (service.characteristics() == nullptr) return;
  for (CBCharacteristic* characteristic : *service.characteristics()) {
    const CBUUID& uuid = characteristic->UUID();
    if (uuid == charac_ilo || uuid == charac_tenoval) {
      device.setNotifyValue(true, *characteristic);
    } else if (uuid == charac_batt) {
      device.readValue(*characteristic);
      device.setNotifyValue(true, *characteristic);
    }
  }
}

void ComSonde::peripheralDidUpdateValueFor(CBPeripheral&, CBCharacteristic& characteristic,
                                           const Error*) {
  const Value value = requiredValue(characteristic);
  const CBUUID& uuid = characteristic.UUID();
  if (uuid == charac_batt) {
    batSonde = byteAt(value, 0);
  } else if (uuid == charac_ilo) {
    sendIlo(value);
  } else if (uuid == charac_tenoval) {
    sendTenoval(value);
  }
}

// Little-endian, the battery level in byte 12 of every record. The constant last field stands where
// a Tenoval has its second measurement.
void ComSonde::sendIlo(Value value) {
  batSonde = byteAt(value, 12);
  sendQuelmar(Payload("S;").field(batSonde).field(littleEndian<2>(value, 2)).field(0));
}

// Big-endian, two measurements.
void ComSonde::sendTenoval(Value value) const {
  const std::uint16_t first = bigEndian<2>(value, 0);
  const std::uint16_t second = bigEndian<2>(value, 2);
  sendQuelmar(Payload("S;").field(batSonde).field(first).field(second));
}
