#include "ComSonde.h"

#include <span>
#include <utility>

#include "Bytes.h"
#include "GattIdentifiers.h"
#include "Payload.h"
#include "Precondition.h"
#include "Text.h"
#include "Utils.h"

using platform::CBCharacteristic;
using platform::CBPeripheral;
using platform::CBUUID;
using platform::Error;
using platform::Value;

namespace {

// "pelk0" has a digit zero: there are devices with either spelling.
constexpr std::string_view kNames[] = {"ilo", "pelko", "pelk0", "tenoval", "kvaltrin"};

// The first is the Ilo's, which sends its battery level with each value.
constexpr KnownCharacteristic kCharacteristics[] = {
    {service_ilo, charac_ilo, Use::subscribe},
    {service_batt, charac_batt, Use::readThenSubscribe},
    {service_tenoval, charac_tenoval, Use::subscribe},
};
constexpr auto kOfIlo = std::span(kCharacteristics).first<1>();
constexpr auto kOfTenoval = std::span(kCharacteristics).subspan<1>();

bool hasIloName(const CBPeripheral& peripheral) {
  const auto name = peripheral.name();
  require(name.has_value());
  return beginsWith(lowerCase(*name), "ilo");
}

}  // namespace

constinit const Family ComSonde::family{.names = kNames, .characteristics = kCharacteristics};

ComSonde::ComSonde(std::shared_ptr<CBPeripheral> device)
    : DeviceHandler(std::move(device), family), isIlo(hasIloName(*peripheral)) {
  peripheral->setDelegate(this);
  sendQuelmar(isIlo ? "C;1;" : "C;2;");
}

std::vector<CBUUID> ComSonde::services() const {
  return isIlo ? servicesOf(kOfIlo) : servicesOf(kOfTenoval);
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

// Little-endian, with the battery level in byte 12 of every record. The last field, always 0, is
// the second measurement of a Tenoval.
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
