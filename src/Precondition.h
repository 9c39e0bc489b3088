// A condition that the program relies on does not hold: a value shorter than its layout, a handler
// that is not there, text that is not UTF-8. The process ends at once by SIGABRT with nothing more
// written; nothing checks ahead and nothing recovers, since a measurement that the host cannot
// trust is worse than none.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/Platform.h"

[[noreturn]] void preconditionFailure();

inline void require(bool condition) {
  if (!condition) preconditionFailure();
}

// The value being delivered; it has to be there.
inline platform::Value requiredValue(const platform::CBCharacteristic& characteristic) {
  require(characteristic.value().has_value());
  return *characteristic.value();
}

// One byte of a value; the value has to be that long.
inline std::uint8_t byteAt(platform::Value value, std::size_t index) {
  require(index < value.size());
  return value[index];
}
