// By what a device is known: the framework's objects for it come and go.
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
