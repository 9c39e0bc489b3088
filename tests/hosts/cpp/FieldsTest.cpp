#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

#include "vornix_host.h"

namespace {

using vornix_host::Fields;

TEST(Fields, AreTheTextsBeforeEachSemicolon) {
  const Fields fields("C;3;;0;");
  ASSERT_EQ(fields.size(), 4U);
  EXPECT_EQ(fields[0], "C");
  EXPECT_EQ(fields[1], "3");
  EXPECT_EQ(fields[2], "");
  EXPECT_EQ(fields[3], "0");
}

TEST(Fields, OfAPayloadWithoutALastSemicolonAreNone) {
  EXPECT_EQ(Fields("C;3;0").size(), 0U);
  EXPECT_EQ(Fields("").size(), 0U);
}

TEST(Fields, AfterTheLastOneAreEmptyAndNoNumbers) {
  const Fields fields("V;");
  EXPECT_EQ(fields[1], "");
  EXPECT_FALSE(fields.number<int>(1));
  EXPECT_EQ(fields[99], "");
}

TEST(Fields, MoreThanCanBeHeldAreNone) {
  std::string payload;
  for (std::size_t i = 0; i < Fields::most; ++i) payload += "1;";
  EXPECT_EQ(Fields(payload).size(), Fields::most);
  EXPECT_EQ(Fields(payload + "1;").size(), 0U);
}

TEST(FieldNumber, IsReadOverTheWholeRangeOfItsType) {
  const Fields fields("0;255;-1;-32768;32767;4294967295;-9223372036854775808;");
  EXPECT_EQ(fields.number<std::uint8_t>(0), 0);
  EXPECT_EQ(fields.number<std::uint8_t>(1), 255);
  EXPECT_EQ(fields.number<int>(2), -1);
  EXPECT_EQ(fields.number<std::int16_t>(3), -32768);
  EXPECT_EQ(fields.number<std::int16_t>(4), 32767);
  EXPECT_EQ(fields.number<std::uint32_t>(5), 4294967295U);
  EXPECT_EQ(fields.number<std::int64_t>(6), std::numeric_limits<std::int64_t>::min());
}

TEST(FieldNumber, OutsideItsTypesRangeIsNone) {
  EXPECT_FALSE(Fields("256;").number<std::uint8_t>(0));
  EXPECT_FALSE(Fields("-1;").number<std::uint8_t>(0));
  EXPECT_FALSE(Fields("32768;").number<std::int16_t>(0));
  EXPECT_FALSE(Fields("9223372036854775808;").number<std::int64_t>(0));
}

TEST(FieldNumber, WrittenAsTheBridgeNeverWritesItIsNone) {
  for (const char* payload : {";", "-;", "+1;", " 1;", "1 ;", "01;", "-0;", "00;", "-01;", "0x1;",
                              "1.0;", "1a;", "--1;"}) {
    EXPECT_FALSE(Fields(payload).number<int>(0)) << payload;
  }
}

TEST(FieldsRead, TakesAllFieldsFromTheFirstOn) {
  int a = 0;
  std::uint8_t b = 0;
  EXPECT_TRUE(Fields("K;MC;-7;8;").read(2, a, b));
  EXPECT_EQ(a, -7);
  EXPECT_EQ(b, 8);
}

TEST(FieldsRead, FailsWithAFieldTooManyTooFewOrWrong) {
  int a = 0;
  int b = 0;
  EXPECT_FALSE(Fields("K;1;2;3;").read(1, a, b));
  EXPECT_FALSE(Fields("K;1;").read(1, a, b));
  EXPECT_FALSE(Fields("K;1;x;").read(1, a, b));
}

}  // namespace
