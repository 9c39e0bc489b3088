// Log lines have the user's local time.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <utility>

#include "Scenario.h"

namespace process_test {
namespace {

using namespace std::chrono;
using TimePoint = time_point<system_clock, milliseconds>;

milliseconds timeOfDay(const vornix_host::LogTime& time) {
  return hours(time.hour) + minutes(time.minute) + seconds(time.second) +
         milliseconds(time.millisecond);
}

// Runs a bridge in a zone this far east of UTC, and expects the banner's time to lie between the
// times read before and after.
void expectLocalTime(const std::string& zone, minutes east) {
  const TimePoint before = floor<milliseconds>(system_clock::now()) + east;
  Bridge bridge({}, {.environment = {{"TZ", zone}}});
  const auto line = bridge.next();
  const TimePoint after = floor<milliseconds>(system_clock::now()) + east;
  ASSERT_TRUE(line && line->isLog("Demarrage de Vornix 1.04"));

  const auto midnight = floor<days>(before);
  milliseconds time = timeOfDay(line->time);
  if (time < before - midnight) time += days(1);  // midnight passed in between
  EXPECT_GE(time, before - midnight);
  EXPECT_LE(time, after - midnight);
}

class LogTime : public testing::TestWithParam<std::pair<std::string, minutes>> {};

TEST_P(LogTime, IsThatOfTheZone) {
  expectLocalTime(GetParam().first, GetParam().second);
}

INSTANTIATE_TEST_SUITE_P(Zone, LogTime,
                         testing::Values(std::pair("UTC0", minutes(0)),
                                         std::pair("EAST-5:30", minutes(330)),
                                         std::pair("WEST9:15", minutes(-555))),
                         [](const auto& test) { return test.param.first.substr(0, 3); });

TEST(LogTimeHour, IsZeroFromMidnightOn) {
  // The zone in which it is just past midnight.
  const auto sinceMidnight = floor<hours>(system_clock::now() - floor<days>(system_clock::now()));
  expectLocalTime("ZONE" + std::to_string(sinceMidnight.count()), -sinceMidnight);
}

}  // namespace
}  // namespace process_test
