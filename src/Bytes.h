// What a device's value holds at a position: the only place that reads bytes and their order. The
// value has to be long enough; that is required, not checked ahead.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "Precondition.h"
#include "platform/Platform.h"

// The value being delivered; it has to be there.
inline platform::Value requiredValue(const platform::CBCharacteristic& characteristic) {
  require(characteristic.value().has_value());
  return *characteristic.value();
}

inline std::uint8_t byteAt(platform::Value value, std::size_t position) {
  require(position < value.size());
  return value[position];
}

// The smallest type that holds a number of so many bytes, up to four.
template <std::size_t bytes>
using Unsigned = std::conditional_t<bytes <= 2, std::uint16_t, std::uint32_t>;

// The number whose least significant byte stands at the position, and the others behind it.
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

// The number whose most significant byte stands at the position.
template <std::size_t bytes>
Unsigned<bytes> bigEndian(platform::Value value, std::size_t position) {
  static_assert(bytes <= 4);
  require(bytes <= value.size() && position <= value.size() - bytes);
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < bytes; ++i) number = number << 8 | value[position + i];
  return static_cast<Unsigned<bytes>>(number);
}
