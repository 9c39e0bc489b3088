#include "ComCorvelta.h"

#include <string>
#include <utility>

#include "Bytes.h"
#include "Discovery.h"
#include "GattIdentifiers.h"
#include "Payload.h"
#include "Text.h"
#include "Utils.h"

using platform::CBCharacteristic;
using platform::CBPeripheral;
using platform::CBService;
using platform::CBUUID;
using platform::Error;
using platform::Value;

namespace {

constexpr CBUUID kBattery[] = {charac_batt};
constexpr CBUUID kParametres[] = {charac_corvelta_FW, charac_corvelta_secteur,
                                  charac_corvelta_force_sleep};
constexpr CBUUID kCalibration[] = {charac_corvelta_calibration, charac_corvelta_new_calibration,
                                   charac_corvelta_erreur_calibration};
constexpr CBUUID kContractions[] = {charac_corvelta_acquisition, charac_corvelta_contractions};
constexpr KnownService kServices[] = {{service_batt, kBattery},
                                      {service_corvelta_parametres, kParametres},
                                      {service_corvelta_calibration, kCalibration},
                                      {service_corvelta_contractions, kContractions}};

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

ComCorvelta::ComCorvelta(std::shared_ptr<CBPeripheral> device) : peripheral(std::move(device)) {
  peripheral->setDelegate(this);
}

void ComCorvelta::peripheralDidDiscoverServices(CBPeripheral& device, const Error* error) {
  if (!servicesDiscovered(device, error)) return;
  for (CBService* service : *device.services()) {
    discoverCharacteristicsOf(device, *service, kServices);
  }
}

void ComCorvelta::peripheralDidDiscoverCharacteristicsFor(CBPeripheral& device, CBService& service,
                                                          const Error*) {
  if (service.characteristics() == nullptr) return;
  for (CBCharacteristic* characteristic : *service.characteristics()) {
    useCharacteristic(device, *characteristic);
  }
}

void ComCorvelta::useCharacteristic(CBPeripheral& device, CBCharacteristic& characteristic) {
  const CBUUID& uuid = characteristic.UUID();
  if (uuid == charac_corvelta_secteur) {
    device.readValue(characteristic);
    device.setNotifyValue(true, characteristic);
  } else if (uuid == charac_batt || uuid == charac_corvelta_FW) {
    device.readValue(characteristic);
  } else if (uuid == charac_corvelta_contractions || uuid == charac_corvelta_new_calibration ||
             uuid == charac_corvelta_erreur_calibration) {
    device.setNotifyValue(true, characteristic);
  } else if (uuid == charac_corvelta_calibration) {
    charac_calibration = &characteristic;
  } else if (uuid == charac_corvelta_acquisition) {
    charac_acquisition = &characteristic;
  } else if (uuid == charac_corvelta_force_sleep) {
    charac_force_sleep = &characteristic;
  }
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
