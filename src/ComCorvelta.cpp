#include "ComCorvelta.h"

#include <string>
#include <utility>

#include "Bytes.h"
#include "GattIdentifiers.h"
#include "Payload.h"
#include "Text.h"
#include "Utils.h"

using platform::CBCharacteristic;
using platform::CBPeripheral;
using platform::CBUUID;
using platform::Error;
using platform::Value;

namespace {

constexpr std::string_view kNames[] = {"tarvix"};

constexpr KnownCharacteristic kCharacteristics[] = {
    {service_corvelta_parametres, charac_corvelta_FW, Use::read},
    {service_corvelta_parametres, charac_corvelta_secteur, Use::readThenSubscribe},
    {service_corvelta_parametres, charac_corvelta_force_sleep, Use::keep,
     keptIn(&ComCorvelta::charac_force_sleep)},
    {service_corvelta_calibration, charac_corvelta_calibration, Use::keep,
     keptIn(&ComCorvelta::charac_calibration)},
    {service_corvelta_calibration, charac_corvelta_new_calibration, Use::subscribe},
    {service_corvelta_calibration, charac_corvelta_erreur_calibration, Use::subscribe},
    {service_corvelta_contractions, charac_corvelta_acquisition, Use::keep,
     keptIn(&ComCorvelta::charac_acquisition)},
    {service_corvelta_contractions, charac_corvelta_contractions, Use::subscribe},
    {service_batt, charac_batt, Use::read},
};

// The host has no message for the end of charging.
void reportMains(std::uint8_t state) {
  writeLine("Corvelta en charge : " + std::to_string(state));
  if (state != 0) sendQuelmar("V;");
}

void logFirmware(Value value) {
  const std::string text(value.begin(), value.end());
  writeLine("version FW du CorVelta : " + repairedUtf8(text));
}

// Six bytes, little-endian: 24 bits, 16 bits, 8 bits. The host wants the 16 bits first, then the 8,
// then the 24.
void sendContraction(Value value) {
  const std::uint32_t u24 = littleEndian<3>(value, 0);
  const std::uint16_t u16 = littleEndian<2>(value, 3);
  const std::uint8_t u8 = byteAt(value, 5);
  sendQuelmar(Payload("K;MC;").field(u16).field(u8).field(u24));
}

}  // namespace

constinit const Family ComCorvelta::family{.names = kNames, .characteristics = kCharacteristics};

ComCorvelta::ComCorvelta(std::shared_ptr<CBPeripheral> device)
    : DeviceHandler(std::move(device), family) {
  peripheral->setDelegate(this);
}

void ComCorvelta::peripheralDidUpdateValueFor(CBPeripheral&, CBCharacteristic& characteristic,
                                              const Error*) {
  const Value value = requiredValue(characteristic);
  const CBUUID& uuid = characteristic.UUID();
  if (uuid == charac_batt) {
    sendQuelmar(Payload("C;4;0;").field(byteAt(value, 0)).field(0));
  } else if (uuid == charac_corvelta_secteur) {
    reportMains(byteAt(value, 0));
  } else if (uuid == charac_corvelta_FW) {
    logFirmware(value);
  } else if (uuid == charac_corvelta_new_calibration) {
    sendQuelmar(Payload("K;NC;").field(byteAt(value, 0)));
  } else if (uuid == charac_corvelta_erreur_calibration) {
    sendQuelmar(Payload("K;EC;").field(byteAt(value, 0)));
  } else if (uuid == charac_corvelta_contractions) {
    sendContraction(value);
  }
}
