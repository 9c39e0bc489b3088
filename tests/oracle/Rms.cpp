#include "tests/oracle/Rms.h"

namespace oracle {

namespace {

// fraction x 2^exponent
struct Binary {
  std::int64_t fraction;
  int exponent;
};

// Rounded to 24 binary digits, to the nearest, ties to even. Subnormal numbers would keep fewer
// digits, but they are truncated to 0 in any case.
Binary roundedToSingle(Binary number) {
  std::int64_t unit = 1;
  while (number.fraction / unit >= (1 << 24)) {
    unit *= 2;
    ++number.exponent;
  }
  std::int64_t quotient = number.fraction / unit;
  const std::int64_t twiceRest = 2 * (number.fraction % unit);
  if (twiceRest > unit || (twiceRest == unit && quotient % 2 == 1)) ++quotient;
  return {quotient, number.exponent};
}

}  // namespace

std::optional<std::int64_t> rms(const std::vector<std::uint8_t>& bytes) {
  const bool negative = bytes[3] >= 128;
  const int biased = bytes[3] % 128 * 2 + bytes[2] / 128;
  const std::int64_t digits = bytes[0] + 256 * bytes[1] + 65536 * (bytes[2] % 128);
  if (biased == 255) return std::nullopt;  // infinite, or not a number
  const Binary level =
      biased == 0 ? Binary{digits, -149} : Binary{digits + (1 << 23), biased - 150};

  const Binary product = roundedToSingle({level.fraction * 10000000, level.exponent});
  if (product.fraction == 0) return 0;
  std::int64_t whole = product.fraction;
  for (int i = product.exponent; i < 0; ++i) whole /= 2;
  for (int i = product.exponent; i > 0; --i) {
    if (whole > INT64_MAX / 2) {
      // One number of this size fits, the least 64-bit one.
      const bool least = negative && i == 1 && whole == INT64_MAX / 2 + 1;
      return least ? std::optional(INT64_MIN) : std::nullopt;
    }
    whole *= 2;
  }
  // A bound a little below 2^63, with no binary32 in between.
  if (!negative && whole >= 9223372000000000000) return std::nullopt;
  return negative ? -whole : whole;
}

}  // namespace oracle
