#include "Text.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "tests/unit/core/support/Case.h"
#include "tests/unit/core/support/Endings.h"

namespace unit {
namespace {

namespace fs = std::filesystem;

struct Utf8Case : Case {
  std::string bytes;
  bool valid;
  std::string repaired;  // U for U+FFFD
};

class Utf8 : public testing::TestWithParam<Utf8Case> {};

TEST_P(Utf8, IsJudged) {
  EXPECT_EQ(isValidUtf8(GetParam().bytes), GetParam().valid);
}

TEST_P(Utf8, IsRepairedWithOneReplacementPerMaximalSubpart) {
  std::string expected;
  for (const char c : GetParam().repaired) {
    if (c == 'U') {
      expected += "\uFFFD";
    } else {
      expected += c;
    }
  }
  EXPECT_EQ(repairedUtf8(GetParam().bytes), GetParam().valid ? GetParam().bytes : expected);
}

Utf8Case valid(std::string name, std::string bytes) {
  return {{std::move(name)}, std::move(bytes), true, ""};
}

Utf8Case invalid(std::string name, std::string bytes, std::string repaired) {
  return {{std::move(name)}, std::move(bytes), false, std::move(repaired)};
}

INSTANTIATE_TEST_SUITE_P(
    WellFormed, Utf8,
    testing::Values(
        valid("Nothing", ""), valid("Ascii", "1.2.3"), valid("Null", std::string("\0", 1)),
        valid("Delete", "\x7F"), valid("FirstOfTwo", "\xC2\x80"), valid("LastOfTwo", "\xDF\xBF"),
        valid("FirstOfThree", "\xE0\xA0\x80"), valid("BeforeSurrogates", "\xED\x9F\xBF"),
        valid("AfterSurrogates", "\xEE\x80\x80"), valid("LastOfThree", "\xEF\xBF\xBF"),
        valid("FirstOfFour", "\xF0\x90\x80\x80"), valid("LastOfAll", "\xF4\x8F\xBF\xBF"),
        valid("ByteOrderMark", "\xEF\xBB\xBF"), valid("ReplacementItself", "\xEF\xBF\xBD"),
        valid("Mixed", "a\u00E9\u20AC\U0001F600z")),
    caseName);

INSTANTIATE_TEST_SUITE_P(Overlong, Utf8,
                         testing::Values(invalid("NullInTwo", "\xC0\x80", "UU"),
                                         invalid("SlashInTwo", "\xC0\xAF", "UU"),
                                         invalid("LastInTwo", "\xC1\xBF", "UU"),
                                         invalid("NullInThree", "\xE0\x80\x80", "UUU"),
                                         invalid("LastInThree", "\xE0\x9F\xBF", "UUU"),
                                         invalid("NullInFour", "\xF0\x80\x80\x80", "UUUU"),
                                         invalid("LastInFour", "\xF0\x8F\xBF\xBF", "UUUU")),
                         caseName);

INSTANTIATE_TEST_SUITE_P(
    OutOfRange, Utf8,
    testing::Values(invalid("FirstSurrogate", "\xED\xA0\x80", "UUU"),
                    invalid("LastSurrogate", "\xED\xBF\xBF", "UUU"),
                    invalid("SurrogatePair", "\xED\xA0\xBD\xED\xB8\x80", "UUUUUU"),
                    invalid("AboveTheLast", "\xF4\x90\x80\x80", "UUUU"),
                    invalid("LeadF5", "\xF5\x80\x80\x80", "UUUU"), invalid("LeadFE", "\xFE", "U"),
                    invalid("LeadFF", "\xFF", "U")),
    caseName);

INSTANTIATE_TEST_SUITE_P(
    Truncated, Utf8,
    testing::Values(invalid("OneOfTwo", "\xC3", "U"), invalid("OneOfThree", "\xE2", "U"),
                    invalid("TwoOfThree", "\xE2\x82", "U"), invalid("OneOfFour", "\xF0", "U"),
                    invalid("TwoOfFour", "\xF0\x9F", "U"),
                    invalid("ThreeOfFour", "\xF0\x9F\x98", "U"),
                    invalid("TwoOfThreeThenText", "\xE2\x82z", "Uz"),
                    invalid("ThreeOfFourThenText", "\xF0\x9F\x98z", "Uz"),
                    invalid("OneOfTwoThenSequence", "\xC3\xC3\xA9z", "U\xC3\xA9z")),
    caseName);

INSTANTIATE_TEST_SUITE_P(
    Stray, Utf8,
    testing::Values(invalid("Continuation", "\x80", "U"), invalid("LastContinuation", "\xBF", "U"),
                    invalid("ThreeContinuations", "a\x80\x80\x80z", "aUUUz"),
                    invalid("AfterASequence", "\xC3\xA9\xA9", "\xC3\xA9U"),
                    invalid("BetweenDigits", "1.\xFF.3", "1.U.3"),
                    // The example of the Unicode Standard, table 3-8.
                    invalid("TableOfTheStandard",
                            "\x61\xF1\x80\x80\xE1\x80\xC2\x62\x80\x63\x80\xBF\x64", "aUUUbUcUUd"),
                    invalid("SecondByteOutOfTheLeadsRange", "\xE0\x80z", "UUz"),
                    invalid("FourLeadThenLowSecond", "\xF0\x8F\x41", "UUA")),
    caseName);

TEST(Utf8Scalars, AreAllValidAndSurrogatesAreNot) {
  for (char32_t scalar = 0; scalar < 0x110000; ++scalar) {
    std::string bytes;
    const auto put = [&bytes](char32_t byte) { bytes += static_cast<char>(byte); };
    const auto low = [scalar](int shift) { return 0x80 | (scalar >> shift & 0x3F); };
    if (scalar < 0x80) {
      put(scalar);
    } else if (scalar < 0x800) {
      put(0xC0 + scalar / 64), put(low(0));
    } else if (scalar < 0x10000) {
      put(0xE0 + scalar / 4096), put(low(6)), put(low(0));
    } else {
      put(0xF0 + scalar / 262144), put(low(12)), put(low(6)), put(low(0));
    }
    const bool isSurrogate = scalar >= 0xD800 && scalar < 0xE000;
    ASSERT_EQ(isValidUtf8(bytes), !isSurrogate) << std::hex << std::uint32_t{scalar};
  }
}

struct CaseMapping : Case {
  std::string text;
  std::string lower;
};

class LowerCase : public testing::TestWithParam<CaseMapping> {};

TEST_P(LowerCase, IsTheFullMappingOfUnicode) {
  EXPECT_EQ(lowerCase(GetParam().text), GetParam().lower);
}

// A locale with a Turkish name, made from C.UTF-8. The name is enough: the C library, and libraries
// that ask it, take the language from it.
class TurkishLocale {
 public:
  TurkishLocale()
      : folder_(fs::temp_directory_path() / ("vornix-locale-" + std::to_string(getpid()))) {
    fs::create_directories(folder_);
    fs::create_directory_symlink("/usr/lib/locale/C.utf8", folder_ / "tr_TR.UTF-8");
    ::setenv("LOCPATH", folder_.c_str(), 1);
    isThere_ = std::setlocale(LC_ALL, "tr_TR.UTF-8") != nullptr;
  }
  TurkishLocale(const TurkishLocale&) = delete;
  TurkishLocale& operator=(const TurkishLocale&) = delete;
  ~TurkishLocale() {
    std::setlocale(LC_ALL, "C");
    ::unsetenv("LOCPATH");
    fs::remove_all(folder_);
  }

  bool isThere() const { return isThere_; }

 private:
  fs::path folder_;
  bool isThere_ = false;
};

TEST_P(LowerCase, DoesNotDependOnTheUsersLanguage) {
  const TurkishLocale locale;
  if (!locale.isThere()) GTEST_SKIP() << "no C.UTF-8 to make a Turkish locale of";
  EXPECT_EQ(lowerCase(GetParam().text), GetParam().lower);
}

INSTANTIATE_TEST_SUITE_P(
    Of, LowerCase,
    testing::Values(
        CaseMapping{"Nothing", "", ""}, CaseMapping{"Name", "Tramsel-12", "tramsel-12"},
        CaseMapping{"AllLetters", "ABCDEFGHIJKLMNOPQRSTUVWXYZ", "abcdefghijklmnopqrstuvwxyz"},
        CaseMapping{"NoLetters", "0123-_.@[`{~", "0123-_.@[`{~"},
        CaseMapping{"Accents", "\u00C9T\u00C9 \u00C0\u00DE", "\u00E9t\u00E9 \u00E0\u00FE"},
        CaseMapping{"MultiplicationSign", "\u00D7", "\u00D7"},
        CaseMapping{"SigmaAtTheEndOfAWord", "\u03A3\u0391\u03A3-\u03A3\u0391\u03A3",
                    "\u03C3\u03B1\u03C2-\u03C3\u03B1\u03C2"},
        CaseMapping{"SigmaAlone", "\u03A3", "\u03C3"},
        CaseMapping{"SigmaBeforeAPointInAWord", "\u0391\u03A3.\u0391", "\u03B1\u03C3.\u03B1"},
        CaseMapping{"Cyrillic", "\u0416\u042F\u0401", "\u0436\u044F\u0451"},
        CaseMapping{"DottedI", "\u0130LO", "i\u0307lo"}, CaseMapping{"PlainI", "ILO", "ilo"},
        CaseMapping{"DotlessI", "\u0131", "\u0131"}, CaseMapping{"KelvinSign", "\u212A", "k"},
        CaseMapping{"AngstromSign", "\u212B", "\u00E5"}, CaseMapping{"OhmSign", "\u2126", "\u03C9"},
        CaseMapping{"SharpS", "\u1E9E", "\u00DF"}, CaseMapping{"TitleCase", "\u01C5", "\u01C6"},
        CaseMapping{"FullWidth", "\uFF29\uFF2C\uFF2F", "\uFF49\uFF4C\uFF4F"},
        CaseMapping{"RomanNumeral", "\u2160", "\u2170"},
        CaseMapping{"Deseret", "\U00010400", "\U00010428"},
        CaseMapping{"Combining", "E\u0301", "e\u0301"},
        CaseMapping{"Emoji", "A\U0001F600B", "a\U0001F600b"},
        CaseMapping{"Null", std::string("A\0B", 3), std::string("a\0b", 3)}),
    caseName);

struct InvalidText : Case {
  std::string bytes;
};

class LowerCaseOfInvalidText : public testing::TestWithParam<InvalidText> {
 protected:
  Journal journal;
};

TEST_P(LowerCaseOfInvalidText, StopsTheProcess) {
  expectAbort(journal, [] { lowerCase(GetParam().bytes); });
}

INSTANTIATE_TEST_SUITE_P(, LowerCaseOfInvalidText,
                         testing::Values(InvalidText{"NoUtf8", "\xFF"},
                                         InvalidText{"StrayByteAtTheEnd", "ILO\x80"},
                                         InvalidText{"Overlong", "\xC0\x80"},
                                         InvalidText{"Surrogate", "\xED\xA0\x80"},
                                         InvalidText{"Truncated", "Tram\xC3"}),
                         caseName);

struct Beginning : Case {
  std::string text;
  bool isBeginning;  // whether the text begins with "ilo"
};

class BeginsWith : public testing::TestWithParam<Beginning> {};

TEST_P(BeginsWith, ComparesWholeCharacters) {
  EXPECT_EQ(beginsWith(GetParam().text, "ilo"), GetParam().isBeginning);
}

INSTANTIATE_TEST_SUITE_P(
    , BeginsWith,
    testing::Values(Beginning{"Nothing", "", false}, Beginning{"Shorter", "il", false},
                    Beginning{"Same", "ilo", true}, Beginning{"Longer", "ilo-3", true},
                    Beginning{"Later", " ilo", false}, Beginning{"OtherLetter", "ilO", false},
                    Beginning{"AccentOnTheLast", "ilo\u0301", false},
                    Beginning{"AccentWithin", "i\u0307lo", false},
                    Beginning{"AccentOnTheNext", "ilox\u0301", true},
                    Beginning{"ComposedLast", "il\u00F3", false},
                    Beginning{"JoinerAfterTheLast", "ilo\u200D", false},
                    Beginning{"VariationOfTheLast", "ilo\uFE0F", false},
                    Beginning{"EmojiAfterTheLast", "ilo\U0001F600", true},
                    Beginning{"LineEndAfterTheLast", "ilo\r\n", true},
                    Beginning{"NoTextAfterTheLast", "ilo\xFF", true}),
    caseName);

TEST(BeginsWithNothing, IsTrueOfEveryText) {
  EXPECT_TRUE(beginsWith("", ""));
  EXPECT_TRUE(beginsWith("\u0301", ""));
}

}  // namespace
}  // namespace unit
