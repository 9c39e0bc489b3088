// Identifies a device; the framework's objects for it change.
#pragma once

#import <CoreBluetooth/CoreBluetooth.h>

#include <array>
#include <cstdint>

namespace platform::corebluetooth {

using Identifier = std::array<std::uint8_t, 16>;

inline Identifier identifierOf(::CBPeripheral* peripheral) {
  Identifier bytes;
  [[peripheral identifier] getUUIDBytes:bytes.data()];
  return bytes;
}

}  // namespace platform::corebluetooth
