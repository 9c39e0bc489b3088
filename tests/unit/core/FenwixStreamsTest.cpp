#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>

#include "ComFenwix.h"
#include "GattIdentifiers.h"
#include "tests/unit/core/support/Case.h"
#include "tests/unit/core/support/HandlerTest.h"

namespace unit {
namespace {

using platform::CBUUID;

class FenwixStreams : public HandlerTest<ComFenwix> {
 protected:
  FenwixStreams() : HandlerTest("Nomsuel") {}
};

Bytes littleEndian(std::uint32_t word) {
  return {static_cast<std::uint8_t>(word), static_cast<std::uint8_t>(word >> 8),
          static_cast<std::uint8_t>(word >> 16), static_cast<std::uint8_t>(word >> 24)};
}

Bytes bytesOf(float level) {
  return littleEndian(std::bit_cast<std::uint32_t>(level));
}

struct Rms : Case {
  Bytes value;
  std::string text;
};

class FenwixRms : public HandlerTest<ComFenwix>, public testing::WithParamInterface<Rms> {
 protected:
  FenwixRms() : HandlerTest("Nomsuel") {}
};

TEST_P(FenwixRms, IsSentInTenMillionthsOnBothStreams) {
  EXPECT_EQ(delivering(charac_fenwix_rms, GetParam().value),
            Entries{message("P1;" + GetParam().text + ";")});
  EXPECT_EQ(delivering(charac_fenwix_rms2, GetParam().value),
            Entries{message("P2;" + GetParam().text + ";")});
}

INSTANTIATE_TEST_SUITE_P(
    Of, FenwixRms,
    testing::Values(Rms{"One", {0x00, 0x00, 0x80, 0x3F}, "10000000"},
                    Rms{"MinusOne", {0x00, 0x00, 0x80, 0xBF}, "-10000000"},
                    Rms{"Hundredth", {0x0A, 0xD7, 0x23, 0x3C}, "100000"},
                    Rms{"Tenth", {0xCD, 0xCC, 0xCC, 0x3D}, "1000000"},
                    Rms{"Zero", {0, 0, 0, 0}, "0"}, Rms{"MinusZero", {0, 0, 0, 0x80}, "0"},
                    Rms{"FiveBytes", {0x00, 0x00, 0x80, 0x3F, 0xFF}, "10000000"},
                    Rms{"LeastDenormal", {1, 0, 0, 0}, "0"},
                    Rms{"LeastNegativeDenormal", {1, 0, 0, 0x80}, "0"},
                    Rms{"GreatestDenormal", {0xFF, 0xFF, 0x7F, 0x00}, "0"}),
    caseName);

// Truncation toward zero, after the product has been rounded to binary32. The latter shows with
// 0.01, which is 0.00999999977 in binary32.
INSTANTIATE_TEST_SUITE_P(Truncated, FenwixRms,
                         testing::Values(Rms{"JustBelowOneUnit", bytesOf(0.99e-7F), "0"},
                                         Rms{"JustAboveOneUnit", bytesOf(1.01e-7F), "1"},
                                         Rms{"OneAndAHalfUnits", bytesOf(1.5e-7F), "1"},
                                         Rms{"AlmostTwoUnits", bytesOf(1.99e-7F), "1"},
                                         Rms{"MinusOneAndAHalfUnits", bytesOf(-1.5e-7F), "-1"},
                                         Rms{"MinusHalfAUnit", bytesOf(-0.5e-7F), "0"},
                                         Rms{"Third", bytesOf(1.0F / 3.0F), "3333333"}),
                         caseName);

// The smallest level whose product no longer fits into a signed 64-bit number.
const float kTooMuch = [] {
  float level = 922337203685.0F;
  while (level * 10000000.0F < 9223372036854775808.0F) {
    level = std::nextafter(level, std::numeric_limits<float>::infinity());
  }
  while (std::nextafter(level, 0.0F) * 10000000.0F >= 9223372036854775808.0F) {
    level = std::nextafter(level, 0.0F);
  }
  return level;
}();
const float kMost = std::nextafter(kTooMuch, 0.0F);

TEST_F(FenwixStreams, SendTheGreatestLevelThatFitsInto64Bits) {
  EXPECT_EQ(
      delivering(charac_fenwix_rms, bytesOf(kMost)),
      Entries{message("P1;" + std::to_string(static_cast<std::int64_t>(kMost * 1e7F)) + ";")});
  EXPECT_GT(static_cast<std::int64_t>(kMost * 1e7F), 9'223'370'000'000'000'000);
  EXPECT_EQ(
      delivering(charac_fenwix_rms, bytesOf(-kMost)),
      Entries{message("P1;" + std::to_string(static_cast<std::int64_t>(-kMost * 1e7F)) + ";")});
}

TEST_F(FenwixStreams, SendTheLeast64BitNumberButNotItsNegative) {
  const float product = kTooMuch * 10000000.0F;
  if (product != 9223372036854775808.0F) GTEST_SKIP() << "no level has this product";
  EXPECT_EQ(delivering(charac_fenwix_rms, bytesOf(-kTooMuch)),
            Entries{message("P1;-9223372036854775808;")});
  expectAbort([this] { device->deliver(charac_fenwix_rms, bytesOf(kTooMuch)); });
}

TEST_F(FenwixStreams, StopTheProcessBeyondThe64BitRange) {
  float below = -kTooMuch;
  while (below * 10000000.0F >= -9223372036854775808.0F) {
    below = std::nextafter(below, -std::numeric_limits<float>::infinity());
  }
  expectAbort([this] { device->deliver(charac_fenwix_rms, bytesOf(kTooMuch)); });
  expectAbort([&] { device->deliver(charac_fenwix_rms, bytesOf(below)); });
  expectAbort([this] { device->deliver(charac_fenwix_rms2, bytesOf(1e12F)); });
  expectAbort([this] { device->deliver(charac_fenwix_rms2, bytesOf(-1e12F)); });
}

class FenwixRmsOutOfRange : public FenwixRms {};

TEST_P(FenwixRmsOutOfRange, StopsTheProcess) {
  expectAbort([this] { device->deliver(charac_fenwix_rms, GetParam().value); });
  expectAbort([this] { device->deliver(charac_fenwix_rms2, GetParam().value); });
}

INSTANTIATE_TEST_SUITE_P(, FenwixRmsOutOfRange,
                         testing::Values(Rms{"QuietNan", {0x00, 0x00, 0xC0, 0x7F}, ""},
                                         Rms{"SignallingNan", {0x01, 0x00, 0x80, 0x7F}, ""},
                                         Rms{"NegativeNan", {0x00, 0x00, 0xC0, 0xFF}, ""},
                                         Rms{"Infinity", {0x00, 0x00, 0x80, 0x7F}, ""},
                                         Rms{"NegativeInfinity", {0x00, 0x00, 0x80, 0xFF}, ""},
                                         Rms{"GreatestFloat", {0xFF, 0xFF, 0x7F, 0x7F}, ""},
                                         Rms{"ProductThatOverflowsBinary32", bytesOf(1e32F), ""},
                                         Rms{"LeastFloat", {0xFF, 0xFF, 0x7F, 0xFF}, ""}),
                         caseName);

TEST_F(FenwixStreams, StopTheProcessForAShortRmsValue) {
  for (std::size_t length = 0; length < 4; ++length) {
    expectAbort([this, length] { device->deliver(charac_fenwix_rms, Bytes(length)); });
    expectAbort([this, length] { device->deliver(charac_fenwix_rms2, Bytes(length)); });
  }
}

using FenwixBattery = FenwixStreams;

TEST_F(FenwixBattery, IsSentOnceBothAreKnownWhenTheLevelComesFirst) {
  EXPECT_EQ(delivering(charac_batt, {87}), Entries{});
  EXPECT_EQ(handler.nivBatt, 87);
  EXPECT_EQ(delivering(charac_batt_heath, {1}), Entries{message("P0;87;1;")});
  EXPECT_EQ(delivering(charac_batt, {86}), Entries{message("P0;86;1;")});
}

TEST_F(FenwixBattery, IsSentWithTheLevelFirstWhenTheHealthComesFirst) {
  EXPECT_EQ(delivering(charac_batt_heath, {2}), Entries{});
  EXPECT_EQ(handler.healthBatt, 2);
  EXPECT_EQ(handler.nivBatt, std::nullopt);
  EXPECT_EQ(delivering(charac_batt, {50}), Entries{message("P0;50;2;")});
  EXPECT_EQ(delivering(charac_batt_heath, {3}), Entries{message("P0;50;3;")});
}

TEST_F(FenwixBattery, IsUnsignedAndOneByte) {
  delivering(charac_batt, {255, 9});
  EXPECT_EQ(delivering(charac_batt_heath, {255, 9}), Entries{message("P0;255;255;")});
  EXPECT_EQ(delivering(charac_batt, {0}), Entries{message("P0;0;255;")});
}

TEST_F(FenwixBattery, KeepsTheLastLevelThatCameBeforeTheHealth) {
  delivering(charac_batt, {90});
  EXPECT_EQ(delivering(charac_batt, {89}), Entries{});
  EXPECT_EQ(delivering(charac_batt_heath, {0}), Entries{message("P0;89;0;")});
}

TEST_F(FenwixBattery, WithoutAByteStopsTheProcess) {
  expectAbort([this] { device->deliver(charac_batt, Bytes{}); });
  expectAbort([this] { device->deliver(charac_batt_heath, Bytes{}); });
}

struct Identification : Case {
  CBUUID uuid;
  std::optional<std::uint32_t> ComFenwix::*field;
};

class FenwixIdentification : public HandlerTest<ComFenwix>,
                             public testing::WithParamInterface<Identification> {
 protected:
  FenwixIdentification() : HandlerTest("Nomsuel") {}
  const std::optional<std::uint32_t>& field() const { return handler.*GetParam().field; }
};

TEST_P(FenwixIdentification, IsStoredAsALittleEndianNumberAndCounted) {
  EXPECT_EQ(delivering(GetParam().uuid, {0x78, 0x56, 0x34, 0x12}), Entries{});
  EXPECT_EQ(field(), 305'419'896U);
  EXPECT_EQ(handler.nbLus, 1);
  for (const auto other : {&ComFenwix::serial, &ComFenwix::modele, &ComFenwix::firmWare,
                           &ComFenwix::hardWare, &ComFenwix::systId}) {
    EXPECT_EQ((handler.*other).has_value(), other == GetParam().field);
  }
}

TEST_P(FenwixIdentification, KeepsItsFirstValue) {
  delivering(GetParam().uuid, {0x78, 0x56, 0x34, 0x12});
  EXPECT_EQ(delivering(GetParam().uuid, {1, 0, 0, 0}), Entries{});
  EXPECT_EQ(field(), 305'419'896U);
  EXPECT_EQ(handler.nbLus, 1);
}

TEST_P(FenwixIdentification, IgnoresEvenAShortSecondValue) {
  delivering(GetParam().uuid, {0x78, 0x56, 0x34, 0x12});
  EXPECT_EQ(delivering(GetParam().uuid, {}), Entries{});
  EXPECT_EQ(delivering(GetParam().uuid, Bytes(4)), Entries{});
  EXPECT_EQ(field(), 305'419'896U);
}

TEST_P(FenwixIdentification, UsesTheFirstFourBytes) {
  delivering(GetParam().uuid, {0xFF, 0xFF, 0xFF, 0xFF, 0x01});
  EXPECT_EQ(field(), 4'294'967'295U);
}

TEST_P(FenwixIdentification, ShorterThanFourBytesStopsTheProcess) {
  for (std::size_t length = 0; length < 4; ++length) {
    expectAbort([this, length] { device->deliver(GetParam().uuid, Bytes(length)); });
  }
}

TEST_P(FenwixIdentification, CanBeTheSixthEvent) {
  for (const auto other : {&ComFenwix::serial, &ComFenwix::modele, &ComFenwix::firmWare,
                           &ComFenwix::hardWare, &ComFenwix::systId}) {
    if (other != GetParam().field) handler.*other = 9;
  }
  handler.nbLus = 5;
  const Entries sent = delivering(GetParam().uuid, {1, 0, 0, 0});
  ASSERT_EQ(sent.size(), 1U);
  EXPECT_TRUE(sent.front().starts_with("<C;5;0;"));
}

INSTANTIATE_TEST_SUITE_P(
    , FenwixIdentification,
    testing::Values(Identification{"Modele", charac_info_modele, &ComFenwix::modele},
                    Identification{"Serial", charac_info_serial, &ComFenwix::serial},
                    Identification{"HardWare", charac_info_hardware, &ComFenwix::hardWare},
                    Identification{"FirmWare", charac_info_firmware, &ComFenwix::firmWare},
                    Identification{"SystId", charac_info_systid, &ComFenwix::systId}),
    caseName);

const std::string kFailedInit = log("Erreur \u00E0 l'init du Fenwix");

TEST_F(FenwixStreams, ASerialNumberOfZeroEndsTheProcessWithStatus0) {
  expectEnd(journal, [this] { device->deliver(charac_info_serial, Bytes(4)); }, {kFailedInit});
  expectEnd(journal,
            [this] {
              device->deliver(charac_info_serial, {0, 0, 0, 0, 1});
            },
            {kFailedInit});
}

TEST_F(FenwixStreams, ASerialNumberOfZeroAsSixthEventReportsNoIdentification) {
  for (const auto field :
       {&ComFenwix::modele, &ComFenwix::firmWare, &ComFenwix::hardWare, &ComFenwix::systId}) {
    handler.*field = 1;
  }
  handler.nbLus = 5;
  expectEnd(journal, [this] { device->deliver(charac_info_serial, Bytes(4)); }, {kFailedInit});
}

TEST_F(FenwixStreams, AnySerialNumberButZeroIsStored) {
  for (const Bytes& value : {Bytes{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}) {
    handler.serial.reset();
    EXPECT_EQ(delivering(charac_info_serial, value), Entries{});
    EXPECT_NE(handler.serial.value_or(0), 0U);
  }
}

TEST_F(FenwixStreams, OtherIdentificationsMayBeZero) {
  EXPECT_EQ(delivering(charac_info_modele, Bytes(4)), Entries{});
  EXPECT_EQ(handler.modele, 0U);
}

TEST_F(FenwixStreams, SendRawValuesInHexadecimal) {
  EXPECT_EQ(delivering(charac_fenwix_raw, {0x00, 0x0F, 0xF0}), Entries{message("PR1;000FF0;")});
  EXPECT_EQ(delivering(charac_fenwix_raw2, {0x00, 0x0F, 0xF0}), Entries{message("PR2;000FF0;")});
  EXPECT_EQ(delivering(charac_fenwix_raw, {0x01, 0xA0, 0xFF}), Entries{message("PR1;01A0FF;")});
}

TEST_F(FenwixStreams, SendAnEmptyRawValue) {
  EXPECT_EQ(delivering(charac_fenwix_raw, {}), Entries{message("PR1;;")});
  EXPECT_EQ(delivering(charac_fenwix_raw2, {}), Entries{message("PR2;;")});
}

TEST_F(FenwixStreams, SendRawValuesOfAnyLength) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  for (const std::size_t length : {1U, 2U, 256U, 512U, 547U, 548U, 549U, 5000U}) {
    Bytes value(length);
    std::string hexadecimal;
    for (std::size_t i = 0; i < length; ++i) {
      value[i] = static_cast<std::uint8_t>(i * 7);
      hexadecimal += digits[value[i] / 16];
      hexadecimal += digits[value[i] % 16];
    }
    EXPECT_EQ(delivering(charac_fenwix_raw, value), Entries{message("PR1;" + hexadecimal + ";")});
    EXPECT_EQ(delivering(charac_fenwix_raw2, value), Entries{message("PR2;" + hexadecimal + ";")});
  }
}

TEST_F(FenwixStreams, HandCommandValuesToTheReplyByteForByte) {
  EXPECT_EQ(delivering(charac_fenwix_command, {0xAA, 0x05, 0x04, 0x00, 0x00, 0xAA}), Entries{});
  EXPECT_EQ(delivering(charac_fenwix_command, {}), Entries{});
  EXPECT_EQ(delivering(charac_fenwix_command, {0x80, 0xFF}), Entries{});
  EXPECT_EQ(handler.buffer, (Bytes{0x00, 0xAA, 0x80, 0xFF}));
  EXPECT_EQ(handler.commandeEnCours, 5);
}

TEST_F(FenwixStreams, SendAJsonReplyThatArrivesAsValues) {
  EXPECT_EQ(delivering(charac_fenwix_command, {0xAA, 0x13, 0x03, 0x00, 0x5B}), Entries{});
  EXPECT_EQ(delivering(charac_fenwix_command, {0x31, 0x5D}), Entries{message("PJSON;[1];")});
}

TEST_F(FenwixStreams, IgnoreOtherValues) {
  EXPECT_EQ(delivering(charac_tramsel, {}), Entries{});
  EXPECT_EQ(delivering(CBUUID::UUIDWithString("2A26"), {1, 2, 3, 4}), Entries{});
  EXPECT_EQ(handler.nbLus, 0);
}

TEST_F(FenwixStreams, DoNotLookAtTheErrorOfAValue) {
  EXPECT_EQ(of([this] {
              device->deliver(charac_fenwix_rms, {0, 0, 0x80, 0x3F}, &someError);
            }),
            Entries{message("P1;10000000;")});
}

class AbsentFenwixValue : public HandlerTest<ComFenwix>,
                          public testing::WithParamInterface<CBUUID> {
 protected:
  AbsentFenwixValue() : HandlerTest("Nomsuel") {}
};

TEST_P(AbsentFenwixValue, StopsTheProcess) {
  expectAbort([this] { device->deliverNoValue(GetParam(), &someError); });
}

// The last one is no characteristic of a Fenwix: the value is required before the characteristic is
// looked at.
INSTANTIATE_TEST_SUITE_P(, AbsentFenwixValue,
                         testing::Values(charac_fenwix_rms, charac_fenwix_rms2, charac_batt,
                                         charac_batt_heath, charac_info_modele, charac_info_serial,
                                         charac_info_hardware, charac_info_firmware,
                                         charac_info_systid, charac_fenwix_raw, charac_fenwix_raw2,
                                         charac_fenwix_command, charac_ilo),
                         identifierName);

}  // namespace
}  // namespace unit
