#include "tests/unit/core/support/Lines.h"

#include <array>
#include <cstdio>

namespace unit {

std::string log(std::string_view text) {
  return "<@time : " + std::string(text) + ">";
}

std::string message(std::string_view payload) {
  std::array<char, 5> digits;
  std::snprintf(digits.data(), digits.size(), "%04X", unsigned{referenceCrc(payload)});
  return "<" + std::string(payload) + digits.data() + ">";
}

std::uint16_t referenceCrc(std::string_view text) {
  unsigned crc = 0xFFFF;
  for (const char c : text) {
    for (int bit = 7; bit >= 0; --bit) {
      const bool in = (static_cast<unsigned char>(c) >> bit & 1) != 0;
      const bool out = (crc & 0x8000) != 0;
      crc = crc << 1 & 0xFFFF;
      if (in != out) crc ^= 0x1021;
    }
  }
  return static_cast<std::uint16_t>(crc);
}

}  // namespace unit
