// The radio's states.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "Scenario.h"

namespace process_test {
namespace {

using Lines = std::vector<std::string>;

struct UnusableRadio {
  std::string state;
  std::string payload;
};

class Unusable : public testing::TestWithParam<UnusableRadio> {};

TEST_P(Unusable, IsReportedASecondBeforeTheEnd) {
  const auto start = std::chrono::steady_clock::now();
  Bridge bridge({"state=" + GetParam().state});
  expectQuietEnd(bridge);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
  EXPECT_EQ(transcript(bridge), (Lines{banner, "@manager state update : " + GetParam().state,
                                       "<" + GetParam().payload}));
}

INSTANTIATE_TEST_SUITE_P(Radio, Unusable,
                         testing::Values(UnusableRadio{"poweredOff", "Z;2;"},
                                         UnusableRadio{"unsupported", "Z;3;"},
                                         UnusableRadio{"unknown", "Z;3;"},
                                         UnusableRadio{"unauthorized", "Z;4;"}),
                         [](const auto& test) { return test.param.state; });

TEST(Radio, PoweredOffWhileDevicesStreamEndsTheBridge) {
  Bridge bridge(Words{"state=poweredOn,poweredOff"} +
                with(tramsel(), id::motion, {"stream=0100FFFF3412F4FF0000E8037FFF0080FF7F"}));
  expectLine(bridge, "<B;92;1;-1;4660;-12;0;1000;-129;-32768;32767;");
  expectQuietEnd(bridge);
  Lines lines = transcript(bridge);
  EXPECT_EQ(Lines(lines.end() - 2, lines.end()),
            (Lines{"@manager state update : poweredOff", "<Z;2;"}));
}

// On a busy machine the second may be over before the reader thread gets to the lines; the test
// then tries again.
TEST(Radio, KillIsObeyedInTheSecondBeforeTheEnd) {
  const Lines beginning{banner, "@manager state update : poweredOff", "<Z;2;"};
  Lines said;
  for (int run = 0; run < 20 && said.empty(); ++run) {
    Bridge bridge({"state=poweredOff"});
    expectLine(bridge, "<Z;2;");
    bridge.write("kill\nnot any more\n");
    expectQuietEnd(bridge);
    const Lines lines = transcript(bridge);
    ASSERT_EQ(Lines(lines.begin(), lines.begin() + 3), beginning);
    said.assign(lines.begin() + 3, lines.end());
  }
  EXPECT_EQ(said, Lines{"@cde : kill"});
}

TEST(Reset, IsLoggedAndAScanFollowsOncePoweredOn) {
  Bridge bridge(Words{"state=resetting,poweredOn"} + tramsel());
  expectLine(bridge, "@Connexion a Tramsel-12");
  bridge.closeInput();
  expectQuietEnd(bridge);
  EXPECT_EQ(transcript(bridge),
            (Lines{banner, "@manager state update : resetting", poweredOn,
                   "@Device trouve : tramsel-12", "<C;3;0;", "@Connexion a Tramsel-12"}));
}

TEST(Reset, StartsANewScanThatReportsDevicesAgain) {
  Bridge bridge({"state=poweredOn,resetting,poweredOn", "device=Other"});
  expectLine(bridge, "@Device trouve : other");
  expectLine(bridge, "@manager state update : resetting");
  expectLine(bridge, poweredOn);
  expectLine(bridge, "@Device trouve : other");
}

TEST(Reset, AfterAStoppedScanStartsOneThatIsStoppedAgain) {
  Bridge bridge(Words{"driven", "pause=5000", "state=poweredOn,resetting,poweredOn"} + tramsel() +
                ilo() + corvelta());
  for (const char* line : {"@Stop Scan", "@manager state update : resetting",
                           "@manager state update : poweredOn", "@Stop Scan"}) {
    expectLine(bridge, line);
  }
}

}  // namespace
}  // namespace process_test
