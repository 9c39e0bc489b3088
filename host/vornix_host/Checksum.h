// The checksum of a host message: CRC-16/CCITT-FALSE over the payload's characters (polynomial
// 0x1021, initial value 0xFFFF, nothing reflected, no final exclusive-or). "123456789" gives
// 0x29B1.
//
// A carriage return followed by a line feed is one character and counts as the line feed alone,
// although both are in the payload.
#pragma once

#include <cstdint>
#include <string_view>

namespace vornix_host {

class Checksum {
 public:
  // May be called with the payload in pieces, cut anywhere.
  constexpr void add(std::string_view piece) {
    for (const char character : piece) add(character);
  }

  constexpr std::uint16_t value() const { return returnHeld_ ? step(crc_, '\r') : crc_; }

 private:
  constexpr void add(char character) {
    if (returnHeld_ && character != '\n') crc_ = step(crc_, '\r');
    returnHeld_ = character == '\r';
    if (!returnHeld_) crc_ = step(crc_, character);
  }

  // Handles the eight bits of a character at once, without a table.
  static constexpr std::uint16_t step(std::uint16_t crc, char character) {
    unsigned x = (crc >> 8U) ^ static_cast<unsigned char>(character);
    x ^= x >> 4U;
    return static_cast<std::uint16_t>((unsigned{crc} << 8U) ^ (x << 12U) ^ (x << 5U) ^ x);
  }

  std::uint16_t crc_ = 0xFFFF;
  bool returnHeld_ = false;  // a carriage return whose successor is not known yet
};

constexpr std::uint16_t checksum(std::string_view payload) {
  Checksum sum;
  sum.add(payload);
  return sum.value();
}

static_assert(checksum("123456789") == 0x29B1);

}  // namespace vornix_host
