#include "ComFenwix.h"

#include <limits>
#include <utility>

#include "Bytes.h"
#include "EndProcess.h"
#include "FenwixStreams.h"
#include "GattIdentifiers.h"
#include "Payload.h"
#include "Precondition.h"
#include "Utils.h"

using platform::CBCharacteristic;
using platform::CBPeripheral;
using platform::CBUUID;
using platform::Error;
using platform::Value;

namespace {

constexpr std::string_view kNames[] = {"nomsuel"};

// The raw streams stay off until the host asks for them; the battery's health is read once.
constexpr KnownCharacteristic kCharacteristics[] = {
    {service_fenwix, charac_fenwix_rms, Use::subscribe},
    {service_fenwix, charac_fenwix_rms2, Use::subscribe},
    {service_fenwix, charac_fenwix_raw, Use::keep, keptIn(&ComFenwix::characRaw)},
    {service_fenwix, charac_fenwix_raw2, Use::keep, keptIn(&ComFenwix::characRaw2)},
    {service_batt, charac_batt, Use::readThenSubscribe},
    {service_batt, charac_batt_heath, Use::read},
    {service_info, charac_info_modele, Use::read},
    {service_info, charac_info_firmware, Use::read},
    {service_info, charac_info_hardware, Use::read},
    {service_info, charac_info_serial, Use::read},
    {service_info, charac_info_systid, Use::read},
    {service_fenwix_config, charac_fenwix_command, Use::subscribe,
     keptIn(&ComFenwix::characCommand)},
};

}  // namespace

constinit const Family ComFenwix::family{
    .names = kNames, .characteristics = kCharacteristics, .logsUnknownServices = true};

ComFenwix::ComFenwix(std::shared_ptr<CBPeripheral> device)
    : DeviceHandler(std::move(device), family) {
  peripheral->setDelegate(this);
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

// False when the field already has a value, which then stays.
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

// Only the count decides, not which events happened; later events take it past six.
void ComFenwix::verifConnection() {
  if (nbLus != 6) return;
  Payload payload("C;5;0;");
  for (const auto& number : {serial, modele, firmWare, hardWare, systId}) {
    require(number.has_value());
    payload.field(*number);
  }
  sendQuelmar(payload);
}
