// Tests of the oracle itself, on values worked out by hand.
#include <gtest/gtest.h>

#include "tests/oracle/Handlers.h"
#include "tests/oracle/Identifiers.h"
#include "tests/oracle/Output.h"
#include "tests/oracle/Rms.h"
#include "tests/oracle/Utf8.h"

namespace oracle {
namespace {

TEST(Oracle, KnowsTheChecksum) {
  EXPECT_EQ(checksum("123456789"), 0x29B1);
  EXPECT_EQ(checksum("K;EC;"), 0xF797);
  EXPECT_EQ(checksum("A"), 0xB915);
  EXPECT_EQ(checksum(""), 0xFFFF);
  EXPECT_EQ(checksum("a\r\nb"), checksum("a\nb"));
  EXPECT_EQ(checksum("\u00E9"), std::nullopt);
  EXPECT_EQ(messageLine("C;3;0;"), "<C;3;0;4A3D>\n");
}

TEST(Oracle, EscapesLogLines) {
  EXPECT_EQ(logLine("a<b>c&"), "<@time : a&inf;b&sup;c&>\n");
}

TEST(Oracle, KnowsLevels) {
  EXPECT_EQ(rms({0x00, 0x00, 0x80, 0x3F}), 10000000);
  EXPECT_EQ(rms({0x00, 0x00, 0x80, 0xBF}), -10000000);
  EXPECT_EQ(rms({0x0A, 0xD7, 0x23, 0x3C}), 100000);
  EXPECT_EQ(rms({0xCD, 0xCC, 0xCC, 0x3D}), 1000000);
  EXPECT_EQ(rms({0x00, 0x00, 0xC0, 0x7F}), std::nullopt);
  EXPECT_EQ(rms({0x00, 0x00, 0x80, 0x7F}), std::nullopt);
  EXPECT_EQ(rms({0x01, 0x00, 0x00, 0x00}), 0);
}

TEST(Oracle, KnowsUtf8) {
  EXPECT_EQ(scalars("a\u00E9\u20AC\U0001F600"),
            (std::vector<std::uint32_t>{'a', 0xE9, 0x20AC, 0x1F600}));
  for (const char* wrong : {"\x80", "\xC0\xAF", "\xC3", "\xED\xA0\x80", "\xF4\x90\x80\x80"}) {
    EXPECT_EQ(scalars(wrong), std::nullopt) << wrong;
  }
  EXPECT_EQ(repaired("\xC3"), "\uFFFD");
  EXPECT_EQ(repaired("\xE2\x82"
                     "a"),
            "\uFFFDa");
  EXPECT_EQ(repaired("\xC0\xAF"), "\uFFFD\uFFFD");
  EXPECT_EQ(repaired("\xED\xA0\x80"), "\uFFFD\uFFFD\uFFFD");
}

TEST(Oracle, KnowsLowerCaseAndCharacters) {
  EXPECT_EQ(lowered("ILO-\u00C9\u0416"), "ilo-\u00E9\u0436");
  EXPECT_EQ(lowered("\u0130LO"), "i\u0307lo");
  EXPECT_EQ(lowered("\u03A3\u0391\u03A3 \u03A3"), "\u03C3\u03B1\u03C2 \u03C3");
  EXPECT_EQ(lowered("\u0391\u03A3.\u0391\u03A3."), "\u03B1\u03C3.\u03B1\u03C2.");
  EXPECT_TRUE(beginsWith("ilo", "ilo"));
  EXPECT_TRUE(beginsWith("ilo-3", "ilo"));
  EXPECT_FALSE(beginsWith("il", "ilo"));
  EXPECT_FALSE(beginsWith("ilo\u0301", "ilo"));
}

Entries after(const std::function<void(Expected&)>& act) {
  Expected expected;
  try {
    act(expected);
  } catch (const Ended&) {
  }
  Entries entries = expected.take();
  entries.erase(entries.begin());  // setDelegate
  return entries;
}

TEST(Oracle, MapsValues) {
  EXPECT_EQ(after([](Expected& expected) {
              const auto handler = tramsel.make(expected, {"d", "Tramsel"});
              handler->valueUpdated(characBatt, Bytes{92});
              handler->valueUpdated(
                  characTramsel, Bytes{0x01, 0x00, 0xFF, 0xFF, 0x34, 0x12, 0xF4, 0xFF, 0x00, 0x00,
                                       0xE8, 0x03, 0x7F, 0xFF, 0x00, 0x80, 0xFF, 0x7F});
            }),
            (Entries{"<B;92;1;-1;4660;-12;0;1000;-129;-32768;32767;A2B6>\n"}));
  EXPECT_EQ(after([](Expected& expected) {
              const auto handler = corvelta.make(expected, {"d", "Tarvix"});
              handler->valueUpdated(characContractions, Bytes{1, 2, 3, 4, 5, 6});
              handler->valueUpdated(characContractions, Bytes{1, 2, 3, 4, 5});
            }),
            (Entries{messageLine("K;MC;1284;6;197121;").value(), hardStopEntry}));
  EXPECT_EQ(after([](Expected& expected) {
              const auto handler = fenwix.make(expected, {"d", "Nomsuel"});
              handler->valueUpdated(characCommand, Bytes{0xAA, 0x13, 3, 0, 0x5B});
              handler->valueUpdated(characCommand, Bytes{0x31, 0x5D});
              handler->valueUpdated(characSerial, Bytes{0, 0, 0, 0});
            }),
            (Entries{messageLine("PJSON;[1];").value(), logLine("Erreur à l'init du Fenwix"),
                     exitEntry}));
}

}  // namespace
}  // namespace oracle
