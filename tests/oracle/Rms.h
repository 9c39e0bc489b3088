// The fixed-point form of an RMS level.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace oracle {

// The value of a little-endian IEEE-754 binary32 times ten million, rounded to binary32 and then
// truncated, computed with integers alone. Nothing when the product is not finite or does not fit
// into 64 bits.
std::optional<std::int64_t> rms(const std::vector<std::uint8_t>& bytes);

}  // namespace oracle
