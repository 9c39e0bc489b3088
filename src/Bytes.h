// Reads bytes and numbers from a device's value; nothing else in the core deals with byte order. A
// value that is too short is a precondition failure.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "Precondition.h"
#include "platform/Platform.h"

// The value being delivered; a precondition failure when there is none.
inline platform::Value requiredValue(const platform::CBCharacteristic& characteristic) {
  require(characteristic.value().has_value());
  return *characteristic.value();
}

inline std::uint8_t byteAt(platform::Value value, std::size_t position) {
  require(position < value.size());
  return value[position];
}

// An unsigned type for a number of this many bytes, up to four.
template <std::size_t bytes>
using Unsigned = std::conditional_t<bytes <= 2, std::uint16_t, std::uint32_t>;

// The little-endian number whose first byte is at the position.
template <std::size_t bytes>
Unsigned<bytes> littleEndian(platform::Value value, std::size_t position) {
  static_assert(bytes <= 4);
  require(bytes <= value.size() && position <= value.size() - bytes);
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < bytes; ++i) {
    number |= static_cast<std::uint32_t>(value[position + i]) << (8 * i);
  }
  return static_cast<Unsigned<bytes>>(number);
}

// The big-endian number whose first byte is at the position.
template <std::size_t bytes>
Unsigned<bytes> bigEndian(platform::Value value, std::size_t position) {
  static_assert(bytes <= 4);
  require(bytes <= value.size() && position <= value.size() - bytes);
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < bytes; ++i) number = number << 8 | value[position + i];
  return static_cast<Unsigned<bytes>>(number);
}
