#include "lab/Uuid.h"

#include <gtest/gtest.h>

#include "lab/Text.h"

namespace lab {
namespace {

TEST(Uuid, IsPrintedInItsShortestFormInUpperCase) {
  EXPECT_EQ(Uuid::parse("aa41")->text(), "AA41");
  EXPECT_EQ(Uuid::parse("0000aa41-0000-1000-8000-00805f9b34fb")->text(), "AA41");
  EXPECT_EQ(Uuid::parse("23bcdd50-00ac-446d-92b9-07ab6e436ad8")->text(),
            "23BCDD50-00AC-446D-92B9-07AB6E436AD8");
}

TEST(Uuid, IsSentLeastSignificantByteFirst) {
  EXPECT_EQ(toHex(Uuid(0x2A19).wire()), "192A");
  const Uuid uuid = *Uuid::parse("EF680408-9B35-4933-9B10-52FFA9740042");
  EXPECT_EQ(toHex(uuid.wire()), "420074A9FF52109B3349359B080468EF");
  EXPECT_EQ(Uuid::fromWire(uuid.wire()), uuid);
  EXPECT_EQ(Uuid::fromWire(Uuid(0x2A19).wire()), Uuid(0x2A19));
}

TEST(Uuid, RefusesOtherTexts) {
  for (const char* text : {"", "2A1", "2A1G", "23bcdd50-00ac-446d-92b9-07ab6e436ad",
                           "23bcdd50x00ac-446d-92b9-07ab6e436ad8"}) {
    EXPECT_FALSE(Uuid::parse(text)) << text;
  }
  EXPECT_FALSE(Uuid::fromWire(Bytes(3)));
}

TEST(Text, HexadecimalGoesBothWays) {
  EXPECT_EQ(toHex(Bytes{0x00, 0xAF}), "00AF");
  EXPECT_EQ(fromHex("00aF"), (Bytes{0x00, 0xAF}));
  EXPECT_EQ(fromHex(""), Bytes{});
  EXPECT_FALSE(fromHex("0"));
  EXPECT_FALSE(fromHex("0G"));
  EXPECT_FALSE(fromHex("-1"));
}

TEST(Text, NumbersAreDecimalOrHexadecimal) {
  EXPECT_EQ(toNumber("14"), 14U);
  EXPECT_EQ(toNumber("0x0E"), 14U);
  for (const char* text : {"", "0x", "-1", " 1", "1 ", "4294967296"}) {
    EXPECT_FALSE(toNumber(text)) << text;
  }
}

}  // namespace
}  // namespace lab
