#include "Discovery.h"

#include <algorithm>

#include "Precondition.h"
#include "Utils.h"

bool servicesDiscovered(const platform::CBPeripheral& peripheral, const platform::Error* error) {
  if (peripheral.services() != nullptr && error == nullptr) return true;
  require(error != nullptr);
  const auto name = peripheral.name();
  require(name.has_value());
  writeLine("erreur de lecture des services " + error->description() + " de " + *name);
  return false;
}

bool discoverCharacteristicsOf(platform::CBPeripheral& peripheral, platform::CBService& service,
                               std::span<const KnownService> known) {
  const auto found = std::ranges::find(known, service.UUID(), &KnownService::service);
  if (found == known.end()) return false;
  peripheral.discoverCharacteristics(found->characteristics, service);
  return true;
}
