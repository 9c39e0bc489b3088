#include "ComTramsel.h"

#include <array>
#include <span>
#include <utility>

#include "Bytes.h"
#include "Discovery.h"
#include "GattIdentifiers.h"
#include "Payload.h"
#include "Utils.h"

using platform::CBCharacteristic;
using platform::CBPeripheral;
using platform::CBService;
using platform::CBUUID;
using platform::Error;
using platform::Value;

namespace {

constexpr CBUUID kMotion[] = {charac_tramsel};
constexpr CBUUID kBattery[] = {charac_batt};
constexpr KnownService kServices[] = {{service_tramsel, kMotion}, {service_batt, kBattery}};

}  // namespace

ComTramsel::ComTramsel(std::shared_ptr<CBPeripheral> device) : peripheral(std::move(device)) {
  peripheral->setDelegate(this);
}

void ComTramsel::peripheralDidDiscoverServices(CBPeripheral& device, const Error* error) {
  if (!servicesDiscovered(device, error)) return;
  for (CBService* service : *device.services()) {
    discoverCharacteristicsOf(device, *service, kServices);
  }
}

void ComTramsel::peripheralDidDiscoverCharacteristicsFor(CBPeripheral& device, CBService& service,
                                                         const Error*) {
  if (service.characteristics() == nullptr) return;
  for (CBCharacteristic* characteristic : *service.characteristics()) {
    if (characteristic->UUID() == charac_tramsel) {
      device.setNotifyValue(true, *characteristic);
    } else if (characteristic->UUID() == charac_batt) {
      device.readValue(*characteristic);
      device.setNotifyValue(true, *characteristic);
    }
  }
}

void ComTramsel::peripheralDidUpdateValueFor(CBPeripheral&, CBCharacteristic& characteristic,
                                             const Error*) {
  if (characteristic.UUID() == charac_tramsel) {
    sendMotion(requiredValue(characteristic));
  } else if (characteristic.UUID() == charac_batt) {
    batTramsel = byteAt(requiredValue(characteristic), 0);
  }
}

// Nine signed 16-bit values, little-endian; what follows them is not used.
void ComTramsel::sendMotion(Value value) const {
  std::array<std::int16_t, 9> motion;
  for (std::size_t i = 0; i < motion.size(); ++i) {
    motion[i] = static_cast<std::int16_t>(littleEndian<2>(value, 2 * i));
  }
  sendQuelmar(Payload("B;").field(batTramsel).fields(std::span<const std::int16_t, 9>(motion)));
}
