#include "Utils.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <thread>

#include "EndProcess.h"
#include "tests/unit/core/support/Case.h"
#include "tests/unit/core/support/Endings.h"
#include "tests/unit/core/support/WallClock.h"

namespace unit {
namespace {

struct CrcCase : Case {
  std::string text;
  std::uint32_t crc;
};

class Checksum : public testing::TestWithParam<CrcCase> {};

TEST_P(Checksum, IsTheReferenceValue) {
  EXPECT_EQ(calcCrc(GetParam().text), GetParam().crc);
}

INSTANTIATE_TEST_SUITE_P(Of, Checksum,
                         testing::Values(CrcCase{"Digits", "123456789", 0x29B1},
                                         CrcCase{"Tramsel", "C;3;0;", 0x4A3D},
                                         CrcCase{"CalibrationError", "K;EC;", 0xF797},
                                         CrcCase{"LetterA", "A", 0xB915},
                                         CrcCase{"Nothing", "", 0xFFFF}),
                         caseName);

TEST(ChecksumOfAnyText, IsThatOfTheBitwiseDefinition) {
  std::string text;
  for (int i = 0; i < 2000; ++i) {
    text += static_cast<char>((i * 37 + i / 128) % 128);
    if (text.ends_with("\r\n")) text.back() = 'n';
    ASSERT_EQ(calcCrc(text), referenceCrc(text)) << "after " << text.size() << " characters";
  }
}

TEST(ChecksumOfAnyText, TakesEveryAsciiCharacterAsItsOwnByte) {
  for (int c = 0; c < 128; ++c) {
    const std::string text(1, static_cast<char>(c));
    EXPECT_EQ(calcCrc(text), referenceCrc(text)) << "character " << c;
  }
}

TEST(ChecksumOfLineEnds, CountsCarriageReturnAndLineFeedAsOneLineFeed) {
  EXPECT_EQ(calcCrc("a\r\nb"), calcCrc("a\nb"));
  EXPECT_EQ(calcCrc("\r\n"), calcCrc("\n"));
  EXPECT_EQ(calcCrc("\r\n\r\n"), calcCrc("\n\n"));
}

TEST(ChecksumOfLineEnds, KeepsALoneCarriageReturn) {
  EXPECT_EQ(calcCrc("a\rb"), referenceCrc("a\rb"));
  EXPECT_EQ(calcCrc("a\r"), referenceCrc("a\r"));
  EXPECT_NE(calcCrc("a\rb"), calcCrc("a\nb"));
}

TEST(ChecksumOfLineEnds, JoinsOnlyTheLastOfTwoCarriageReturns) {
  EXPECT_EQ(calcCrc("\r\r\n"), referenceCrc("\r\n"));
}

TEST(ChecksumOfLineEnds, DoesNotJoinLineFeedAndCarriageReturn) {
  EXPECT_EQ(calcCrc("\n\r"), referenceCrc("\n\r"));
}

class HostMessage : public testing::Test {
 protected:
  std::string bytesOf(std::string_view payload) {
    journal.clear();
    sendQuelmar(payload);
    return journal.bytes();
  }
  Journal journal;
};

TEST_F(HostMessage, IsFramedWithItsChecksum) {
  EXPECT_EQ(bytesOf("C;3;0;"), "<C;3;0;4A3D>\n");
  EXPECT_EQ(bytesOf("K;EC;"), "<K;EC;F797>\n");
}

TEST_F(HostMessage, OfTheEmptyPayloadIsFFFF) {
  EXPECT_EQ(bytesOf(""), "<FFFF>\n");
}

TEST_F(HostMessage, HasAChecksumOfFourDigitsAlways) {
  int padded = 0;
  for (int i = 0; i < 1000; ++i) {
    const std::string payload = std::to_string(i);
    const std::string bytes = bytesOf(payload);
    ASSERT_EQ(bytes, message(payload) + "\n");
    ASSERT_EQ(bytes.size(), payload.size() + 7);
    if (bytes[payload.size() + 1] == '0') ++padded;
  }
  EXPECT_GT(padded, 0);
}

TEST_F(HostMessage, IsNotEscaped) {
  EXPECT_EQ(bytesOf("a<b>c&d"), message("a<b>c&d") + "\n");
}

TEST_F(HostMessage, WithCarriageReturnAndLineFeedIsWrittenWithBoth) {
  const std::string crc = message("a\nb").substr(4, 4);
  EXPECT_EQ(bytesOf("a\r\nb"), "<a\r\nb" + crc + ">\n");
}

TEST_F(HostMessage, KeepsANullCharacter) {
  const std::string payload("a\0b", 3);
  EXPECT_EQ(bytesOf(payload), message(payload) + "\n");
}

TEST_F(HostMessage, OfAnyLengthIsWrittenWhole) {
  for (const std::size_t length : {2039U, 2040U, 2041U, 2042U, 2048U, 4096U, 140'000U}) {
    const std::string payload(length, 'x');
    EXPECT_EQ(bytesOf(payload), message(payload) + "\n") << length;
  }
}

struct NonAscii : Case {
  std::string text;
};

class NonAsciiPayload : public testing::TestWithParam<NonAscii> {
 protected:
  Journal journal;
};

TEST_P(NonAsciiPayload, StopsTheProcessBeforeAnythingIsWritten) {
  expectAbort(journal, [] { sendQuelmar(GetParam().text); });
}

TEST_P(NonAsciiPayload, StopsTheChecksum) {
  expectAbort(journal, [] { calcCrc(GetParam().text); });
}

INSTANTIATE_TEST_SUITE_P(
    , NonAsciiPayload,
    testing::Values(NonAscii{"AccentedLetterInside", "caf\u00E9;"},
                    NonAscii{"AccentedLetterAlone", "\u00E9"},
                    NonAscii{"FirstBeyondAscii", "A;\u0080;"}, NonAscii{"Emoji", "\U0001F600"},
                    NonAscii{"LetterWithCombiningAccent", "e\u0301"}, NonAscii{"NoUtf8", "A;\xFF;"},
                    NonAscii{"AccentWithinALineEnd", "\r\u0301\n"}, NonAscii{"StrayByte", "\x80"}),
    caseName);

// The checksum handles eight bytes at a time, and the rest one by one.
TEST(NonAsciiByte, StopsTheChecksumWhereverItStands) {
  for (std::size_t place = 0; place < 19; ++place) {
    std::string text(19, 'x');
    text[place] = '\x80';
    Journal journal;
    SCOPED_TRACE(place);
    expectAbort(journal, [&] { calcCrc(text); });
  }
}

class LogLine : public testing::Test {
 protected:
  static std::string bytesOf(std::string_view text) {
    Journal journal;
    writeLine(text);
    return journal.bytes();
  }
  static Entries entriesOf(std::string_view text) {
    Journal journal;
    writeLine(text);
    return journal.entries();
  }
};

TEST_F(LogLine, OfNothingIsTheTimeAndNothingAfterTheBlank) {
  EXPECT_EQ(entriesOf(""), Entries{"<@time : >"});
  EXPECT_EQ(bytesOf("").size(), std::string_view("<@hh:mm:ss.mmm : >\n").size());
}

TEST_F(LogLine, HasTheLocalTimeInFront) {
  const WallClock clock("UTC", 14 * 3600 + 3 * 60 + 7, 45'000'000);
  EXPECT_EQ(bytesOf("Stop Scan"), "<@14:03:07.045 : Stop Scan>\n");
}

TEST_F(LogLine, PadsSingleDigitParts) {
  const WallClock clock("UTC", 9 * 3600 + 5 * 60 + 3, 7'000'000);
  EXPECT_EQ(bytesOf("x"), "<@09:05:03.007 : x>\n");
}

TEST_F(LogLine, HasHour00AtMidnight) {
  const WallClock clock("UTC", 19'675 * 86'400, 0);
  EXPECT_EQ(bytesOf("x"), "<@00:00:00.000 : x>\n");
}

TEST_F(LogLine, HasHour23BeforeMidnight) {
  const WallClock clock("UTC", 19'675LL * 86'400 - 1, 999'999'999);
  EXPECT_EQ(bytesOf("x"), "<@23:59:59.999 : x>\n");
}

struct Truncation : Case {
  std::int64_t nanoseconds;
};

class LogLineMilliseconds : public testing::TestWithParam<Truncation> {};

TEST_P(LogLineMilliseconds, AreTruncated) {
  const WallClock clock("UTC", 1'700'000'000, GetParam().nanoseconds);
  Journal journal;
  writeLine("x");
  EXPECT_EQ(journal.bytes().substr(10, 4), "." + GetParam().name);
}

INSTANTIATE_TEST_SUITE_P(, LogLineMilliseconds,
                         testing::Values(Truncation{"000", 999'999}, Truncation{"001", 1'000'000},
                                         Truncation{"006", 6'999'999},
                                         Truncation{"045", 45'500'000},
                                         Truncation{"998", 998'999'999},
                                         Truncation{"999", 999'999'999}),
                         caseName);

struct Zone : Case {
  std::string zone;
  std::int64_t seconds;
  std::string time;
};

class LogLineZone : public testing::TestWithParam<Zone> {};

TEST_P(LogLineZone, DecidesTheHour) {
  const WallClock clock(GetParam().zone, GetParam().seconds, 0);
  Journal journal;
  writeLine("x");
  EXPECT_EQ(journal.bytes(), "<@" + GetParam().time + ".000 : x>\n");
}

// 1,700,000,000 is 22:13:20 UTC on 14 November 2023; 1,720,000,000 is 09:46:40 UTC on 3 July 2024.
constexpr char kParis[] = "CET-1CEST,M3.5.0,M10.5.0/3";
INSTANTIATE_TEST_SUITE_P(
    , LogLineZone,
    testing::Values(Zone{"Utc", "UTC", 1'700'000'000, "22:13:20"},
                    Zone{"ParisInWinter", kParis, 1'700'000'000, "23:13:20"},
                    Zone{"ParisInSummer", kParis, 1'720'000'000, "11:46:40"},
                    Zone{"HalfHour", "IST-5:30", 1'700'000'000, "03:43:20"},
                    Zone{"QuarterHour", "NPT-5:45", 1'700'000'000, "03:58:20"},
                    Zone{"West", "EST5", 1'700'000'000, "17:13:20"},
                    Zone{"LocalMidnight", "MID-1:46:40", 1'700'000'000, "00:00:00"},
                    Zone{"ParisBeforeSummerTime", kParis, 1'711'846'799, "01:59:59"},
                    Zone{"ParisAtSummerTime", kParis, 1'711'846'800, "03:00:00"},
                    Zone{"ParisBeforeWinterTime", kParis, 1'729'990'799, "02:59:59"},
                    Zone{"ParisAtWinterTime", kParis, 1'729'990'800, "02:00:00"}),
    caseName);

struct Escape : Case {
  std::string text;
  std::string escaped;
};

class LogLineEscape : public testing::TestWithParam<Escape> {};

TEST_P(LogLineEscape, ReplacesAngleBracketsOnly) {
  Journal journal;
  writeLine(GetParam().text);
  EXPECT_EQ(journal.entries(), Entries{log(GetParam().escaped)});
}

INSTANTIATE_TEST_SUITE_P(
    Of, LogLineEscape,
    testing::Values(Escape{"Both", "a<b>c", "a&inf;b&sup;c"}, Escape{"Less", "<", "&inf;"},
                    Escape{"Greater", ">", "&sup;"},
                    Escape{"Several", "<<>>", "&inf;&inf;&sup;&sup;"},
                    Escape{"Ampersand", "a&b", "a&b"}, Escape{"EscapedAlready", "&inf;", "&inf;"},
                    Escape{"EntityThenLess", "&lt;<", "&lt;&inf;"},
                    Escape{"Quotes", "a;b\"c'", "a;b\"c'"},
                    Escape{"Accent", "Erreur \u00E0 l'init", "Erreur \u00E0 l'init"}),
    caseName);

TEST_F(LogLine, KeepsAnyOtherBytes) {
  const std::string text("\0\x01\x80\xFF\r\t", 6);
  EXPECT_TRUE(bytesOf(text).ends_with(" : " + text + ">\n"));
}

TEST_F(LogLine, OfAnyLengthIsWrittenWhole) {
  for (const std::size_t length : {2027U, 2028U, 2029U, 2030U, 2031U, 2048U, 100'000U}) {
    const std::string text(length, 'x');
    EXPECT_EQ(entriesOf(text), Entries{log(text)}) << length;
  }
}

TEST_F(LogLine, OfManyBracketsIsWrittenWhole) {
  std::string escaped;
  for (int i = 0; i < 1000; ++i) escaped += "&inf;";
  EXPECT_EQ(entriesOf(std::string(1000, '<')), Entries{log(escaped)});
}

TEST_F(LogLine, OfSeveralPiecesIsWrittenWhole) {
  std::string escaped;
  for (int i = 0; i < 100'000; ++i) escaped += "&sup;";
  EXPECT_EQ(entriesOf(std::string(100'000, '>')), Entries{log(escaped)});
}

TEST_F(LogLine, MayBeGivenInTwoParts) {
  Journal journal;
  writeLine("a<b", ">c");
  EXPECT_EQ(journal.entries(), Entries{log("a&inf;b&sup;c")});
}

// Standard output as a socket that preserves the boundaries of writes.
class Writes : public testing::Test {
 protected:
  void SetUp() override {
    if (socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends_) == 0) {
      dup2(ends_[1], STDOUT_FILENO);
    } else {
      ASSERT_EQ(errno, EPROTONOSUPPORT);
      GTEST_SKIP() << "this system has no such sockets";
    }
  }
  ~Writes() override {
    close(ends_[0]);
    close(ends_[1]);
  }

  std::string next() const {
    std::string bytes(200'000, '\0');
    const auto length = recv(ends_[0], bytes.data(), bytes.size(), MSG_DONTWAIT);
    bytes.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
    return bytes;
  }

 private:
  Journal restoresStandardOutput_;
  int ends_[2] = {-1, -1};
};

TEST_F(Writes, AreOneForEachLine) {
  sendQuelmar("C;3;0;");
  writeLine("Stop Scan");
  EXPECT_EQ(next(), "<C;3;0;4A3D>\n");
  EXPECT_EQ(next().size(), std::string_view("<@hh:mm:ss.mmm : Stop Scan>\n").size());
  EXPECT_EQ(next(), "");
}

TEST_F(Writes, AreOneForALongLineToo) {
  const std::string payload(10'000, 'F');
  sendQuelmar(payload);
  EXPECT_EQ(next(), message(payload) + "\n");
  writeLine(payload);
  EXPECT_EQ(next().size(), payload.size() + 19);
  EXPECT_EQ(next(), "");
}

TEST(LinesOfTwoThreads, NeverMix) {
  Journal journal;
  constexpr int kLines = 2000;
  const std::string text(500, 'a');
  const std::string payload(700, 'b');
  std::thread reader([&] {
    for (int i = 0; i < kLines; ++i) writeLine(text);
  });
  for (int i = 0; i < kLines; ++i) sendQuelmar(payload);
  reader.join();

  const Entries entries = journal.entries();
  EXPECT_EQ(std::ranges::count(entries, log(text)), kLines);
  EXPECT_EQ(std::ranges::count(entries, message(payload)), kLines);
  EXPECT_EQ(entries.size(), 2U * kLines);
}

TEST(LinesOfTwoThreads, NeverMixWithALongOne) {
  Journal journal;
  constexpr int kLines = 50;
  const std::string text(500'000, 'a');
  const std::string payload(700, 'b');
  std::thread reader([&] {
    for (int i = 0; i < kLines; ++i) writeLine(text);
  });
  for (int i = 0; i < 10 * kLines; ++i) sendQuelmar(payload);
  reader.join();

  const Entries entries = journal.entries();
  EXPECT_EQ(std::ranges::count(entries, log(text)), kLines);
  EXPECT_EQ(std::ranges::count(entries, message(payload)), 10 * kLines);
  EXPECT_EQ(entries.size(), 11U * kLines);
}

}  // namespace
}  // namespace unit
