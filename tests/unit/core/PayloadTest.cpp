#include "Payload.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <limits>
#include <span>
#include <string>

namespace unit {
namespace {

TEST(Payload, ClosesEachNumberWithASemicolon) {
  EXPECT_EQ(std::string_view(Payload("P0;").field(87).field(1)), "P0;87;1;");
}

TEST(Payload, WritesPlainDecimals) {
  EXPECT_EQ(std::string_view(Payload("").field(0).field(-1).field(100)), "0;-1;100;");
}

TEST(Payload, WritesAny64BitNumber) {
  using Limits = std::numeric_limits<std::int64_t>;
  EXPECT_EQ(std::string_view(Payload("").field(Limits::min()).field(Limits::max())),
            "-9223372036854775808;9223372036854775807;");
}

TEST(Payload, WritesAny16BitNumber) {
  for (int i = 0; i <= 0xFFFF; ++i) {
    const auto unsigned16 = static_cast<std::uint16_t>(i);
    const auto signed16 = static_cast<std::int16_t>(i);
    ASSERT_EQ(std::string_view(Payload("").field(unsigned16).field(signed16)),
              std::to_string(unsigned16) + ";" + std::to_string(signed16) + ";");
  }
}

TEST(Payload, WritesAny8BitNumber) {
  for (int i = 0; i <= 0xFF; ++i) {
    const auto unsigned8 = static_cast<std::uint8_t>(i);
    const auto signed8 = static_cast<std::int8_t>(i);
    ASSERT_EQ(std::string_view(Payload("").field(unsigned8).field(signed8)),
              std::to_string(unsigned8) + ";" + std::to_string(signed8) + ";");
  }
}

TEST(Payload, WritesARowOfNumbers) {
  const std::array<std::int16_t, 4> row{0, -32768, 32767, -1};
  EXPECT_EQ(std::string_view(Payload("B;").fields(std::span<const std::int16_t, 4>(row))),
            "B;0;-32768;32767;-1;");
}

TEST(Payload, GrowsBeyondItsUsualLength) {
  Payload payload("X;");
  std::string expected = "X;";
  for (int i = 0; i < 2000; ++i) {
    payload.field(i);
    expected += std::to_string(i) + ";";
  }
  EXPECT_EQ(std::string_view(payload), expected);
}

}  // namespace
}  // namespace unit
