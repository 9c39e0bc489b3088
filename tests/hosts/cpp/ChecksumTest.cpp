#include <gtest/gtest.h>

#include <string>

#include "ReadAll.h"

namespace {

using host_test::bitwiseChecksum;
using vornix_host::Checksum;
using vornix_host::checksum;

TEST(Checksum, HasTheReferenceValues) {
  EXPECT_EQ(checksum("123456789"), 0x29B1);
  EXPECT_EQ(checksum("C;3;0;"), 0x4A3D);
  EXPECT_EQ(checksum("K;EC;"), 0xF797);
  EXPECT_EQ(checksum("A"), 0xB915);
  EXPECT_EQ(checksum(""), 0xFFFF);
}

TEST(Checksum, AgreesWithTheBitwiseDefinitionForEveryByteAndLength) {
  std::string text;
  for (int i = 0; i < 512; ++i) {
    text += static_cast<char>(i * 7 % 256 == '\r' ? 'x' : i * 7 % 256);
    EXPECT_EQ(checksum(text), bitwiseChecksum(text)) << text.size();
  }
}

TEST(Checksum, CountsACarriageReturnAndLineFeedAsALineFeed) {
  EXPECT_EQ(checksum("a\r\nb"), bitwiseChecksum("a\nb"));
  EXPECT_EQ(checksum("\r\n\r\n"), bitwiseChecksum("\n\n"));
  EXPECT_EQ(checksum("\r\r\n"), bitwiseChecksum("\r\n"));
}

TEST(Checksum, CountsALoneCarriageReturn) {
  EXPECT_EQ(checksum("a\rb"), bitwiseChecksum("a\rb"));
  EXPECT_EQ(checksum("a\r"), bitwiseChecksum("a\r"));
  EXPECT_EQ(checksum("\n\r"), bitwiseChecksum("\n\r"));
}

TEST(Checksum, IsTheSameInPiecesCutAnywhere) {
  const std::string text = "x\r\ny\r;\n";
  for (std::size_t cut = 0; cut <= text.size(); ++cut) {
    Checksum sum;
    sum.add(std::string_view(text).substr(0, cut));
    sum.value();
    sum.add(std::string_view(text).substr(cut));
    EXPECT_EQ(sum.value(), checksum(text)) << cut;
  }
}

}  // namespace
