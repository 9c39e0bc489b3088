// The fixed-point form of an RMS level.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace oracle {

// Four bytes of an IEEE-754 binary32, least significant first, times ten million in single
// precision, truncated; in whole numbers all through. Nothing when the product is not finite or
// does not fit into 64 bits.
std::optional<std::int64_t> rms(const std::vector<std::uint8_t>& bytes);

}  // namespace oracle
