#include "tests/oracle/Draw.h"

#include <bit>
#include <cmath>
#include <limits>

#include "tests/oracle/Utf8.h"

namespace oracle {

Run& theRun() {
  static Run run;
  return run;
}

std::uint8_t Draw::byte() {
  static constexpr std::uint8_t edges[] = {0x00, 0x01, 0x7F, 0x80, 0xFE, 0xFF, 0xAA, 0x13};
  if (oneIn(2)) return edges[below(std::size(edges))];
  return static_cast<std::uint8_t>(below(256));
}

std::size_t Draw::length(std::size_t needed) {
  switch (below(8)) {
    case 0:
      return needed == 0 ? 0 : needed - 1;
    case 1:
      return needed + 1 + below(4);
    case 2:
      return below(needed + 20);
    case 3:
      return oneIn(16) ? 500 + below(13) : below(40);
    default:
      return needed;
  }
}

std::vector<std::uint8_t> Draw::bytes(std::size_t count) {
  std::vector<std::uint8_t> drawn(count);
  for (auto& each : drawn) each = byte();
  return drawn;
}

std::vector<std::uint8_t> Draw::level() {
  constexpr float edges[] = {9.223372e11F,
                             9.223373e11F,
                             1e-7F,
                             1.0F,
                             0.1F,
                             std::numeric_limits<float>::min(),
                             std::numeric_limits<float>::max(),
                             std::numeric_limits<float>::infinity(),
                             std::numeric_limits<float>::quiet_NaN()};
  auto pattern = static_cast<std::uint32_t>(generator_());
  if (oneIn(2)) pattern = std::bit_cast<std::uint32_t>(edges[below(std::size(edges))]);
  if (oneIn(2)) pattern += static_cast<std::uint32_t>(below(400)) - 200;
  if (oneIn(4)) pattern ^= 0x80000000;
  if (oneIn(3)) {
    const auto usual = static_cast<float>(below(2000000)) / 1000.0F - 1000.0F;
    pattern = std::bit_cast<std::uint32_t>(usual);
  }
  std::vector<std::uint8_t> drawn;
  for (int i = 0; i < 4; ++i) drawn.push_back(static_cast<std::uint8_t>(pattern >> (8 * i)));
  drawn.resize(length(4));
  return drawn;
}

std::vector<std::uint8_t> Draw::text(std::size_t count) {
  std::string drawn;
  while (drawn.size() < count) {
    const auto widest = std::size_t{1} << (7 + below(15));
    // Surrogates too, and numbers above the last scalar.
    std::string piece = encoded(static_cast<std::uint32_t>(below(widest)));
    if (oneIn(8)) piece.resize(1 + below(piece.size()));
    if (oneIn(8)) piece[below(piece.size())] = static_cast<char>(byte());
    drawn += piece;
  }
  return {drawn.begin(), drawn.end()};
}

std::vector<std::uint8_t> Draw::reply() {
  static constexpr std::uint8_t usual[] = {'\r', '\n', ';', '<', '>', '{', ' ', '~'};
  const std::size_t length = below(24);
  std::vector<std::uint8_t> drawn = {0xAA, 19, static_cast<std::uint8_t>(length), 0};
  for (std::size_t i = 0; i < length; ++i) drawn.push_back(usual[below(std::size(usual))]);
  if (oneIn(16)) drawn.resize(below(drawn.size() + 1));
  if (oneIn(16)) drawn.insert(drawn.end(), below(4), byte());
  return drawn;
}

}  // namespace oracle
