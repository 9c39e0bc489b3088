#include "ComFenwix.h"

#include <limits>
#include <utility>

#include "Bytes.h"
#include "Discovery.h"
#include "EndProcess.h"
#include "FenwixStreams.h"
#include "GattIdentifiers.h"
#include "Payload.h"
#include "Precondition.h"
#include "Utils.h"

using platform::CBCharacteristic;
using platform::CBPeripheral;
using platform::CBService;
using platform::CBUUID;
using platform::Error;
using platform::Value;

namespace {

constexpr CBUUID kSignal[] = {charac_fenwix_rms, charac_fenwix_rms2, charac_fenwix_raw,
                              charac_fenwix_raw2};
constexpr CBUUID kBattery[] = {charac_batt, charac_batt_heath};
constexpr CBUUID kConfig[] = {charac_fenwix_command};
constexpr CBUUID kInfo[] = {charac_info_modele, charac_info_firmware, charac_info_hardware,
                            charac_info_serial, charac_info_systid};
constexpr KnownService kServices[] = {{service_fenwix, kSignal},
                                      {service_batt, kBattery},
                                      {service_fenwix_config, kConfig},
                                      {service_info, kInfo}};

bool isInfo(const CBUUID& uuid) {
  return uuid == charac_info_modele || uuid == charac_info_serial || uuid == charac_info_firmware ||
         uuid == charac_info_hardware || uuid == charac_info_systid;
}

}  // namespace

ComFenwix::ComFenwix(std::shared_ptr<CBPeripheral> device) : peripheral(std::move(device)) {
  peripheral->setDelegate(this);
}

void ComFenwix::peripheralDidDiscoverServices(CBPeripheral& device, const Error* error) {
  if (!servicesDiscovered(device, error)) return;
  for (CBService* service : *device.services()) {
    if (!discoverCharacteristicsOf(device, *service, kServices)) {
      writeLine("service inconnu : " + service->UUID().description());
    }
  }
}

void ComFenwix::peripheralDidDiscoverCharacteristicsFor(CBPeripheral& device, CBService& service,
                                                        const Error*) {
  if (service.characteristics() == nullptr) return;
  for (CBCharacteristic* characteristic : *service.characteristics()) {
    useCharacteristic(device, *characteristic);
  }
}

// The raw streams stay off until the host asks for them; the battery's health is read once.
void ComFenwix::useCharacteristic(CBPeripheral& device, CBCharacteristic& characteristic) {
  const CBUUID& uuid = characteristic.UUID();
  if (uuid == charac_fenwix_rms || uuid == charac_fenwix_rms2) {
    device.setNotifyValue(true, characteristic);
  } else if (uuid == charac_fenwix_raw) {
    characRaw = &characteristic;
  } else if (uuid == charac_fenwix_raw2) {
    characRaw2 = &characteristic;
  } else if (uuid == charac_fenwix_command) {
    characCommand = &characteristic;
    device.setNotifyValue(true, characteristic);
  } else if (uuid == charac_batt) {
    device.readValue(characteristic);
    device.setNotifyValue(true, characteristic);
  } else if (uuid == charac_batt_heath || isInfo(uuid)) {
    device.readValue(characteristic);
  }
}

void ComFenwix::peripheralDidUpdateNotificationStateFor(CBPeripheral&,
                                                        CBCharacteristic& characteristic,
                                                        const Error* error) {
  if (characteristic.UUID() != charac_fenwix_command) return;
  std::string status = "ok";
  if (error != nullptr) {
    status = "Erreur : " + error->localizedDescription();
  } else {
    countEvent();
  }
  writeLine("didUpdateNotificationStateFor " + characteristic.UUID().description() + " : " +
            status);
  verifConnection();
}

void ComFenwix::peripheralDidUpdateValueFor(CBPeripheral&, CBCharacteristic& characteristic,
                                            const Error*) {
  const Value value = requiredValue(characteristic);
  const CBUUID& uuid = characteristic.UUID();
  if (uuid == charac_fenwix_rms) {
    sendRms("P1;", value);
  } else if (uuid == charac_fenwix_rms2) {
    sendRms("P2;", value);
  } else if (uuid == charac_batt) {
    nivBatt = byteAt(value, 0);
    sendBattery();
  } else if (uuid == charac_batt_heath) {
    healthBatt = byteAt(value, 0);
    sendBattery();
  } else if (uuid == charac_info_modele) {
    if (storeIdentification(modele, value)) verifConnection();
  } else if (uuid == charac_info_serial) {
    storeSerial(value);
  } else if (uuid == charac_info_hardware) {
    if (storeIdentification(hardWare, value)) verifConnection();
  } else if (uuid == charac_info_firmware) {
    if (storeIdentification(firmWare, value)) verifConnection();
  } else if (uuid == charac_info_systid) {
    if (storeIdentification(systId, value)) verifConnection();
  } else if (uuid == charac_fenwix_raw) {
    sendRaw("PR1;", value);
  } else if (uuid == charac_fenwix_raw2) {
    sendRaw("PR2;", value);
  } else if (uuid == charac_fenwix_command) {
    notifRecueFenwixCommand(value);
  }
}

void ComFenwix::sendBattery() const {
  if (!nivBatt || !healthBatt) return;
  sendQuelmar(Payload("P0;").field(*nivBatt).field(*healthBatt));
}

void ComFenwix::countEvent() {
  require(nbLus < std::numeric_limits<std::int64_t>::max());
  ++nbLus;
}

// False when the field has its value already, which then stays.
bool ComFenwix::storeIdentification(std::optional<std::uint32_t>& field, Value value) {
  if (field) return false;
  countEvent();
  field = littleEndian<4>(value, 0);
  return true;
}

void ComFenwix::storeSerial(Value value) {
  if (!storeIdentification(serial, value)) return;
  if (*serial == 0) {
    writeLine("Erreur à l'init du Fenwix");
    endProcess();
  }
  verifConnection();
}

// The count alone decides, not which events happened: later ones take it past six.
void ComFenwix::verifConnection() {
  if (nbLus != 6) return;
  Payload payload("C;5;0;");
  for (const auto& number : {serial, modele, firmWare, hardWare, systId}) {
    require(number.has_value());
    payload.field(*number);
  }
  sendQuelmar(payload);
}
