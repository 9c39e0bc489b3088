#include "lab/program/Options.h"

#include <gtest/gtest.h>

namespace lab {
namespace {

std::optional<Options> parse(std::vector<const char*> arguments) {
  std::string reason;
  std::optional<Options> options = parseOptions(arguments, reason);
  EXPECT_EQ(options.has_value(), reason.empty());
  return options;
}

TEST(Options, TakesControllerAndDevice) {
  const auto options = parse({"--controller", "hci2", "--device", "fenwix"});
  ASSERT_TRUE(options);
  EXPECT_EQ(options->controller, 2);
  EXPECT_EQ(options->device, "fenwix");
  EXPECT_EQ(options->largestMtu, 517U);
  EXPECT_TRUE(options->journal.empty());
}

TEST(Options, TurnsSettingsIntoControlLinesInTheirOrder) {
  const auto options =
      parse({"--controller", "hci0", "--device", "ilo", "--name", "", "--rate", "5", "--fault",
             "hide=180F", "--control", "advertise off", "--count", "3"});
  ASSERT_TRUE(options);
  EXPECT_EQ(options->controls, (std::vector<std::string>{"name ", "rate 5", "fault hide=180F",
                                                         "advertise off", "count 3"}));
}

TEST(Options, HelpNeedsNothingElse) {
  const auto options = parse({"--help"});
  ASSERT_TRUE(options);
  EXPECT_TRUE(options->wantsHelp);
}

TEST(Options, RefusesWhatItDoesNotUnderstand) {
  EXPECT_FALSE(parse({}));
  EXPECT_FALSE(parse({"--controller", "hci0"}));
  EXPECT_FALSE(parse({"--controller", "0", "--device", "ilo"}));
  EXPECT_FALSE(parse({"--controller", "hci0", "--device"}));
  EXPECT_FALSE(parse({"--controller", "hci0", "--device", "ilo", "--mtu", "22"}));
  EXPECT_FALSE(parse({"--controller", "hci0", "--device", "ilo", "--dance", "1"}));
}

}  // namespace
}  // namespace lab
