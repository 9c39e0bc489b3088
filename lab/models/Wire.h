// Encodes numbers for the models' values.
#pragma once

#include <cstdint>

#include "lab/DeviceModel.h"

namespace lab::wire {

// The lowest size bytes of a number, least significant first.
inline void appendLittle(Bytes& bytes, std::uint32_t number, int size) {
  for (int i = 0; i < size; ++i) bytes.push_back(static_cast<std::uint8_t>(number >> (8 * i)));
}

// The same, most significant first.
inline void appendBig(Bytes& bytes, std::uint32_t number, int size) {
  for (int i = size - 1; i >= 0; --i) bytes.push_back(static_cast<std::uint8_t>(number >> (8 * i)));
}

}  // namespace lab::wire
