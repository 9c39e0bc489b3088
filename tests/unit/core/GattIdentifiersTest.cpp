#include "GattIdentifiers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <string>
#include <vector>

#include "tests/unit/core/support/Case.h"

namespace unit {
namespace {

using platform::CBUUID;

struct Identifier : Case {
  CBUUID constant;
  std::string text;
};

#define IDENTIFIER(constant, text) \
  Identifier {                     \
#constant, constant, text      \
  }

const std::vector<Identifier>& identifiers() {
  static const std::vector<Identifier> all = {
      IDENTIFIER(service_ilo, "85538af7-9604-4f46-a933-c9e7a9e05748"),
      IDENTIFIER(charac_ilo, "23bcdd50-00ac-446d-92b9-07ab6e436ad8"),
      IDENTIFIER(service_tenoval, "0000aa40-0000-1000-8000-00805f9b34fb"),
      IDENTIFIER(charac_tenoval, "0000aa41-0000-1000-8000-00805f9b34fb"),
      IDENTIFIER(service_tramsel, "EF680400-9B35-4933-9B10-52FFA9740042"),
      IDENTIFIER(charac_tramsel, "EF680408-9B35-4933-9B10-52FFA9740042"),
      IDENTIFIER(service_batt, "0000180f-0000-1000-8000-00805f9b34fb"),
      IDENTIFIER(charac_batt, "00002a19-0000-1000-8000-00805f9b34fb"),
      IDENTIFIER(charac_batt_heath, "00002beb-0000-1000-8000-00805f9b34fb"),
      IDENTIFIER(service_corvelta_parametres, "89e6b9fd-f08f-4b6c-93e6-49a24ba04200"),
      IDENTIFIER(charac_corvelta_FW, "36410ec0-a40f-49af-aa74-27b875ba8751"),
      IDENTIFIER(charac_corvelta_secteur, "d35386e6-0b1e-453b-963e-9e1f2b527fe7"),
      IDENTIFIER(charac_corvelta_force_sleep, "00428317-9ae7-49d7-adf5-8e295880ace8"),
      IDENTIFIER(service_corvelta_contractions, "d72dcc05-7e84-464d-91a6-b8cc7fe47b2a"),
      IDENTIFIER(charac_corvelta_contractions, "5d63afc1-16d0-4c47-bdb8-39de23daf30a"),
      IDENTIFIER(charac_corvelta_acquisition, "5b4153a2-3f1c-4dc4-872e-e43265446878"),
      IDENTIFIER(service_corvelta_calibration, "a4459812-7361-4607-95e1-e58b2fc953d9"),
      IDENTIFIER(charac_corvelta_calibration, "0860ac22-b172-468e-9755-03a53f3c7e40"),
      IDENTIFIER(charac_corvelta_erreur_calibration, "60583850-163a-4c00-a0dc-2dfdd223a716"),
      IDENTIFIER(charac_corvelta_new_calibration, "fe5eb478-cc3b-4ef0-b33c-b674b32e0c41"),
      IDENTIFIER(service_fenwix, "000098ab-0000-1000-8000-00805f9b34fb"),
      IDENTIFIER(charac_fenwix_rms, "00003a89-0000-1000-8000-00805f9b34fb"),
      IDENTIFIER(charac_fenwix_rms2, "00003a90-0000-1000-8000-00805f9b34fb"),
      IDENTIFIER(charac_fenwix_raw, "00003A87-0000-1000-8000-00805F9B34FB"),
      IDENTIFIER(charac_fenwix_raw2, "00003A88-0000-1000-8000-00805F9B34FB"),
      IDENTIFIER(service_fenwix_config, "000098AC-0000-1000-8000-00805F9B34FB"),
      IDENTIFIER(charac_fenwix_command, "00003A93-0000-1000-8000-00805F9B34FB"),
      IDENTIFIER(service_info, "0000180a-0000-1000-8000-00805f9b34fb"),
      IDENTIFIER(charac_info_modele, "00002a24-0000-1000-8000-00805f9b34fb"),
      IDENTIFIER(charac_info_firmware, "00002a28-0000-1000-8000-00805f9b34fb"),
      IDENTIFIER(charac_info_hardware, "00002a27-0000-1000-8000-00805f9b34fb"),
      IDENTIFIER(charac_info_serial, "00002a25-0000-1000-8000-00805f9b34fb"),
      IDENTIFIER(charac_info_systid, "00002a23-0000-1000-8000-00805f9b34fb"),
  };
  return all;
}

std::string inCase(const std::string& text, int (*mapping)(int)) {
  std::string mapped;
  for (const char c : text) mapped += static_cast<char>(mapping(static_cast<unsigned char>(c)));
  return mapped;
}

// The xxxx of 0000xxxx-0000-1000-8000-00805f9b34fb; empty for any other identifier.
std::string shortFormOf(const std::string& text) {
  const bool inBaseRange = inCase(text, std::tolower).ends_with("-0000-1000-8000-00805f9b34fb") &&
                           text.starts_with("0000");
  return inBaseRange ? text.substr(4, 4) : "";
}

class GattIdentifier : public testing::TestWithParam<Identifier> {};

TEST_P(GattIdentifier, IsItsTextInEitherCase) {
  const CBUUID constant = GetParam().constant;
  const std::string& text = GetParam().text;
  EXPECT_EQ(CBUUID::parse(text), constant);
  EXPECT_EQ(CBUUID::parse(inCase(text, std::toupper)), constant);
  EXPECT_EQ(CBUUID::parse(inCase(text, std::tolower)), constant);
}

TEST_P(GattIdentifier, IsItsShortFormsInTheBaseRange) {
  const std::string shortForm = shortFormOf(GetParam().text);
  if (shortForm.empty()) return;
  EXPECT_EQ(CBUUID::parse(shortForm), GetParam().constant);
  EXPECT_EQ(CBUUID::parse(inCase(shortForm, std::tolower)), GetParam().constant);
  EXPECT_EQ(CBUUID::parse("0000" + shortForm), GetParam().constant);
}

TEST_P(GattIdentifier, IsPrintedInUpperCaseAndAsShortAsItCanBe) {
  const std::string upper = inCase(GetParam().text, std::toupper);
  const std::string shortForm = shortFormOf(upper);
  EXPECT_EQ(GetParam().constant.description(), shortForm.empty() ? upper : shortForm);
}

INSTANTIATE_TEST_SUITE_P(, GattIdentifier, testing::ValuesIn(identifiers()), caseName);

TEST(GattIdentifiers, AreTenServicesAndTwentyThreeCharacteristics) {
  const auto countOf = [](std::string_view prefix) {
    return std::ranges::count_if(
        identifiers(), [prefix](const auto& one) { return one.name.starts_with(prefix); });
  };
  EXPECT_EQ(countOf("service_"), 10);
  EXPECT_EQ(countOf("charac_"), 23);
}

TEST(GattIdentifiers, AreAllDistinct) {
  for (const auto& one : identifiers()) {
    for (const auto& other : identifiers()) {
      EXPECT_EQ(one.constant == other.constant, &one == &other) << one.name << ' ' << other.name;
    }
  }
}

TEST(GattIdentifiers, AreTheSameInLongAndShortFormAndInEitherCase) {
  EXPECT_EQ(service_tenoval, CBUUID::parse("AA40"));
  EXPECT_EQ(charac_fenwix_raw, CBUUID::parse("00003a87-0000-1000-8000-00805f9b34fb"));
}

TEST(GattIdentifiers, DoNotTakeAnotherBaseForTheBluetoothBase) {
  const auto almost = CBUUID::parse("0000180f-0000-1000-8000-00805f9b34fc");
  EXPECT_NE(almost, service_batt);
  EXPECT_EQ(almost->description(), "0000180F-0000-1000-8000-00805F9B34FC");
  EXPECT_EQ(CBUUID::parse("0001180F")->description(), "0001180F-0000-1000-8000-00805F9B34FB");
}

struct NotHexadecimal : Case {
  std::string text;
};

class NoIdentifier : public testing::TestWithParam<NotHexadecimal> {};

TEST_P(NoIdentifier, IsRefused) {
  EXPECT_EQ(CBUUID::parse(GetParam().text), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(
    , NoIdentifier,
    testing::Values(NotHexadecimal{"Nothing", ""}, NotHexadecimal{"OneDigit", "1"},
                    NotHexadecimal{"ThreeDigits", "180"}, NotHexadecimal{"FiveDigits", "180F0"},
                    NotHexadecimal{"LetterG", "180G"}, NotHexadecimal{"Blank", "18 F"},
                    NotHexadecimal{"Sign", "+180"}, NotHexadecimal{"Prefix", "0x18"},
                    NotHexadecimal{"SevenDigits", "0000180"},
                    NotHexadecimal{"TwelveDigits", "0000180f0000"},
                    NotHexadecimal{"NoHyphens", "0000180f00001000800000805f9b34fb"},
                    NotHexadecimal{"OneTooShort", "0000180f-0000-1000-8000-00805f9b34f"},
                    NotHexadecimal{"OneTooLong", "0000180f-0000-1000-8000-00805f9b34fb0"},
                    NotHexadecimal{"LongWithLetterG", "0000180f-0000-1000-8000-00805f9b34fg"},
                    NotHexadecimal{"Underscore", "0000180f_0000-1000-8000-00805f9b34fb"},
                    NotHexadecimal{"HyphenElsewhere", "0000180f0-000-1000-8000-00805f9b34fb"},
                    NotHexadecimal{"Braces", "{000180f-0000-1000-8000-00805f9b34f}"}),
    caseName);

}  // namespace
}  // namespace unit
