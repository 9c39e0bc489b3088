// Integers in plain decimal.
#pragma once

#include <charconv>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

namespace decimal {

// The digits "00" to "99", one pair after the other.
struct Pairs {
  constexpr Pairs() {
    for (std::size_t i = 0; i < 100; ++i) {
      digits[2 * i] = static_cast<char>('0' + i / 10);
      digits[2 * i + 1] = static_cast<char>('0' + i % 10);
    }
  }
  char digits[200]{};
};

inline constexpr Pairs kPairs;

inline char* writeDigit(char* to, unsigned number) {
  *to = static_cast<char>('0' + number);
  return to + 1;
}

inline char* writePair(char* to, unsigned number) {
  std::memcpy(to, kPairs.digits + std::size_t{2} * number, 2);
  return to + 2;
}

// number: below 100,000.
inline char* writeShort(char* to, unsigned number) {
  if (number < 10) return writeDigit(to, number);
  if (number < 100) return writePair(to, number);
  if (number < 10000) {
    const unsigned hundreds = number / 100;
    to = hundreds < 10 ? writeDigit(to, hundreds) : writePair(to, hundreds);
    return writePair(to, number % 100);
  }
  to = writeDigit(to, number / 10000);
  to = writePair(to, number / 100 % 100);
  return writePair(to, number % 100);
}

}  // namespace decimal

template <std::integral Number>
inline constexpr std::size_t kLongestDecimal = std::numeric_limits<Number>::digits10 + 2;

// Writes up to kLongestDecimal characters and returns their end. Numbers of up to 16 bits are
// written by own code, since std::to_chars takes twice as long for them: nine of them are in each
// motion message.
template <std::integral Number>
char* writeDecimal(char* to, Number number) {
  if constexpr (sizeof(Number) <= sizeof(std::uint16_t)) {
    const int value = number;
    if (value >= 0) return decimal::writeShort(to, static_cast<unsigned>(value));
    *to = '-';
    return decimal::writeShort(to + 1, static_cast<unsigned>(-value));
  } else {
    return std::to_chars(to, to + kLongestDecimal<Number>, number).ptr;
  }
}
