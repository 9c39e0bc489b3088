#include "ComTramsel.h"

#include <array>
#include <span>
#include <utility>

#include "Bytes.h"
#include "GattIdentifiers.h"
#include "Payload.h"
#include "Utils.h"

using platform::CBCharacteristic;
using platform::CBPeripheral;
using platform::Error;
using platform::Value;

namespace {

constexpr std::string_view kNames[] = {"dorvane", "tramsel"};

constexpr KnownCharacteristic kCharacteristics[] = {
    {service_tramsel, charac_tramsel, Use::subscribe},
    {service_batt, charac_batt, Use::readThenSubscribe},
};

}  // namespace

constinit const Family ComTramsel::family{
    .names = kNames, .characteristics = kCharacteristics, .announcement = "C;3;0;"};

ComTramsel::ComTramsel(std::shared_ptr<CBPeripheral> device)
    : DeviceHandler(std::move(device), family) {
  peripheral->setDelegate(this);
}

void ComTramsel::peripheralDidUpdateValueFor(CBPeripheral&, CBCharacteristic& characteristic,
                                             const Error*) {
  if (characteristic.UUID() == charac_tramsel) {
    sendMotion(requiredValue(characteristic));
  } else if (characteristic.UUID() == charac_batt) {
    batTramsel = byteAt(requiredValue(characteristic), 0);
  }
}

// Nine signed 16-bit values, little-endian; further bytes are ignored.
void ComTramsel::sendMotion(Value value) const {
  std::array<std::int16_t, 9> motion;
  for (std::size_t i = 0; i < motion.size(); ++i) {
    motion[i] = static_cast<std::int16_t>(littleEndian<2>(value, 2 * i));
  }
  sendQuelmar(Payload("B;").field(batTramsel).fields(std::span<const std::int16_t, 9>(motion)));
}
