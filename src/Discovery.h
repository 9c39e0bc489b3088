// What the handlers have in common when a device's services have been discovered. Main thread.
#pragma once

#include <span>

#include "platform/Platform.h"

// A service that a handler knows, and the characteristics that it asks for in it.
struct KnownService {
  platform::CBUUID service;
  std::span<const platform::CBUUID> characteristics;
};

// Whether the discovery of services succeeded; logs it when it failed. A failure has to come with
// an error, and the device has to have a name.
bool servicesDiscovered(const platform::CBPeripheral& peripheral, const platform::Error* error);

// Asks for the characteristics of the service; false when it is none of those known.
bool discoverCharacteristicsOf(platform::CBPeripheral& peripheral, platform::CBService& service,
                               std::span<const KnownService> known);
