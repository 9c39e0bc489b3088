#include "Payload.h"

#include <gtest/gtest.h>

#include <limits>
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
