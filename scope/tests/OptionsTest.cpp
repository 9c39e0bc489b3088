#include "scope/Options.h"

#include <gtest/gtest.h>

#include <vector>

namespace scope {
namespace {

std::optional<Options> parse(const std::vector<const char*>& arguments) {
  std::string reason;
  const auto options = parseOptions(arguments, reason);
  EXPECT_EQ(options.has_value(), reason.empty());
  return options;
}

using Words = std::vector<std::string>;

TEST(ScopeOptions, StartTheBridgeWithoutACommand) {
  EXPECT_EQ(parse({})->watch.command, Words{"vornix"});
}

TEST(ScopeOptions, LeaveTheCommandsOwnOptionsToIt) {
  const auto options = parse({"--read-only", "demo", "--fault", "radio=off", "--record"});
  EXPECT_TRUE(options->watch.isReadOnly);
  EXPECT_EQ(options->watch.command, (Words{"demo", "--fault", "radio=off", "--record"}));
  EXPECT_EQ(parse({"--", "--odd"})->watch.command, Words{"--odd"});
}

TEST(ScopeOptions, TakeTheirValues) {
  const auto options = parse({"--record", "f", "--rotate", "3", "--listen", "8080"});
  EXPECT_EQ(options->watch.record, "f");
  EXPECT_EQ(options->watch.rotateAt, 3U << 20U);
  EXPECT_EQ(options->watch.port, 8080);
  EXPECT_EQ(parse({"--replay", "f", "--speed", "2.5"})->speed, 2.5);
}

TEST(ScopeOptions, RefuseWhatIsNoneOfThem) {
  const std::vector<std::vector<const char*>> all{
      {"--recrod", "f"},       {"--record"},        {"--record", ""},  {"--listen", "65536"},
      {"--listen", "x"},       {"--listen", "-1"},  {"--rotate", "0"}, {"--speed", "-1"},
      {"--speed", "nan"},      {"--speed", "fast"}, {"export"},        {"export", "a", "b", "c"},
      {"--replay", "f", "cmd"}};
  for (const auto& arguments : all) EXPECT_FALSE(parse(arguments)) << arguments.front();
}

}  // namespace
}  // namespace scope
