// The demo as a host's child process: it has to behave as the bridge does.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "support/BridgeProcess.h"
#include "support/Sanitizer.h"

namespace {

using support::BridgeProcess;
using support::OutputLine;
using support::ProcessEnd;

BridgeProcess start(std::vector<std::string> arguments) {
  return BridgeProcess(VORNIX_DEMO, {.arguments = std::move(arguments)});
}

bool waitForMessageLike(BridgeProcess& demo, std::string_view beginning) {
  const auto isIt = [&](const OutputLine& line) {
    return line.kind == vornix_host::LineKind::message && line.text.starts_with(beginning);
  };
  return demo.waitFor(isIt).has_value();
}

void expectQuietEnd(BridgeProcess& demo) {
  demo.writeLine("kill");
  EXPECT_EQ(demo.waitForEnd(), ProcessEnd::status(0));
  EXPECT_EQ(demo.standardError(), "");
  for (const OutputLine& line : demo.lines()) EXPECT_FALSE(line.isDamaged());
}

TEST(Demo, ShowsEveryFamilyWithoutBeingAsked) {
  BridgeProcess demo = start({});
  for (const char* beginning : {"B;", "S;", "P1;", "C;5;0;"}) {
    EXPECT_TRUE(waitForMessageLike(demo, beginning)) << beginning;
  }
  expectQuietEnd(demo);
}

TEST(Demo, ShowsTheCorveltasBattery) {
  BridgeProcess demo = start({"--devices", "corvelta"});
  EXPECT_TRUE(waitForMessageLike(demo, "C;4;0;"));
  expectQuietEnd(demo);
}

TEST(Demo, ShowsTheChosenDevicesAlone) {
  BridgeProcess demo = start({"--devices", "tenoval,tramsel"});
  EXPECT_TRUE(demo.waitForMessage("C;2;"));
  EXPECT_TRUE(waitForMessageLike(demo, "S;"));
  EXPECT_TRUE(waitForMessageLike(demo, "B;9"));
  expectQuietEnd(demo);
  for (const OutputLine& line : demo.lines()) EXPECT_FALSE(line.text.starts_with("C;5;"));
}

TEST(Demo, CarriesTheCommandsForAFenwixOut) {
  BridgeProcess demo = start({"--devices", "fenwix"});
  ASSERT_TRUE(waitForMessageLike(demo, "C;5;0;"));
  demo.writeLine("FX_getJson");
  EXPECT_TRUE(waitForMessageLike(demo, "PJSON;"));
  demo.writeLine("FX_startRaw");
  EXPECT_TRUE(waitForMessageLike(demo, "PR1;"));
  expectQuietEnd(demo);
}

TEST(Demo, CarriesTheCommandsForACorveltaOut) {
  BridgeProcess demo = start({"--devices", "corvelta"});
  ASSERT_TRUE(waitForMessageLike(demo, "C;4;0;"));
  demo.writeLine("CV_debutCalib");
  demo.writeLine("CV_finCalib");
  EXPECT_TRUE(waitForMessageLike(demo, "K;NC;"));
  demo.writeLine("CV_debutAcquisition");
  EXPECT_TRUE(waitForMessageLike(demo, "K;MC;"));
  expectQuietEnd(demo);
}

TEST(Demo, EndsWithItsInput) {
  BridgeProcess demo = start({});
  ASSERT_TRUE(demo.waitForLog("Connexion a Tramsel-1"));
  demo.closeInput();
  EXPECT_EQ(demo.waitForEnd(), ProcessEnd::status(0));
  EXPECT_EQ(demo.standardError(), "");
}

TEST(Demo, HasTwoThreads) {
  if (!BridgeProcess::canCountThreads()) GTEST_SKIP() << "this system does not tell";
  BridgeProcess demo = start({});
  ASSERT_TRUE(waitForMessageLike(demo, "B;"));
  EXPECT_EQ(demo.threadCount(), 2U + support::threadsOfSanitizer);
}

TEST(Demo, LosesNothingWhileTheHostStalls) {
  BridgeProcess demo = start({"--devices", "tramsel", "--control", "rate 1000"});
  ASSERT_TRUE(waitForMessageLike(demo, "B;92;"));
  demo.stall();
  std::this_thread::sleep_for(std::chrono::seconds(3));
  demo.resume();
  // The first of a motion's values is its number, counted from 0.
  std::uint32_t next = 0;
  bool isInOrder = true;
  const auto isLast = [&](const OutputLine& line) {
    return line.kind == vornix_host::LineKind::message && line.text.starts_with("B;") &&
           line.text.find(";4000;0;") != std::string::npos;
  };
  EXPECT_TRUE(demo.waitFor(isLast));
  for (const OutputLine& line : demo.lines()) {
    if (!line.text.starts_with("B;")) continue;
    const std::size_t field = line.text.find(';', 2) + 1;
    isInOrder = isInOrder && std::stoul(line.text.substr(field)) == next++;
  }
  EXPECT_TRUE(isInOrder);
  EXPECT_EQ(next, 4001U);
  expectQuietEnd(demo);
}

TEST(DemoFault, RadioOffEndsTheBridge) {
  BridgeProcess demo = start({"--fault", "radio=off"});
  EXPECT_TRUE(demo.waitForMessage("Z;2;"));
  EXPECT_EQ(demo.waitForEnd(), ProcessEnd::status(0));
  EXPECT_EQ(demo.standardError(), "");
}

TEST(DemoFault, RadioOffLaterEndsTheBridgeThen) {
  BridgeProcess demo = start({"--devices", "tramsel", "--fault", "radio=unauthorized@2"});
  EXPECT_TRUE(waitForMessageLike(demo, "B;"));
  EXPECT_TRUE(demo.waitForMessage("Z;4;"));
  EXPECT_EQ(demo.waitForEnd(), ProcessEnd::status(0));
}

TEST(DemoFault, ResetIsFollowedByAnotherScan) {
  BridgeProcess demo = start({"--devices", "tramsel", "--fault", "radio=reset@1"});
  EXPECT_TRUE(demo.waitForLog("manager state update : resetting"));
  EXPECT_TRUE(demo.waitForLog("manager state update : poweredOn"));
  expectQuietEnd(demo);
}

TEST(DemoFault, ServiceDiscoveryFails) {
  BridgeProcess demo = start({"--devices", "fenwix", "--fault", "refuse-services"});
  const auto isIt = [](const OutputLine& line) {
    return line.text.starts_with("erreur de lecture des services ");
  };
  EXPECT_TRUE(demo.waitFor(isIt));
  expectQuietEnd(demo);
}

TEST(DemoFault, ANameComesLate) {
  BridgeProcess demo = start({"--devices", "tramsel", "--fault", "late-name=1"});
  EXPECT_TRUE(waitForMessageLike(demo, "B;"));
  expectQuietEnd(demo);
}

TEST(DemoFault, AShortValueStopsTheBridgeHard) {
  BridgeProcess demo = start({"--devices", "tramsel", "--fault", "short=2A19:0"});
  EXPECT_EQ(demo.waitForEnd(), ProcessEnd::signal(SIGABRT));
  EXPECT_EQ(demo.standardError(), "");
}

TEST(DemoFault, ACommandSubscriptionIsRefused) {
  BridgeProcess demo = start({"--devices", "fenwix", "--fault", "refuse-subscribe=3A93"});
  const auto isIt = [](const OutputLine& line) {
    return line.text.starts_with("didUpdateNotificationStateFor ") &&
           line.text.find(" : Erreur : ") != std::string::npos;
  };
  EXPECT_TRUE(demo.waitFor(isIt));
  expectQuietEnd(demo);
}

class DemoMisuse : public testing::TestWithParam<std::vector<std::string>> {};

TEST_P(DemoMisuse, IsRefusedWithAReason) {
  BridgeProcess demo = start(GetParam());
  EXPECT_EQ(demo.waitForEnd(), ProcessEnd::status(2));
  EXPECT_TRUE(demo.standardError().starts_with("vornix-demo: "));
  EXPECT_EQ(demo.output(), "");
}

INSTANTIATE_TEST_SUITE_P(Each, DemoMisuse,
                         testing::Values(std::vector<std::string>{"--devices", "toaster"},
                                         std::vector<std::string>{"--devices"},
                                         std::vector<std::string>{"--fault", "bogus"},
                                         std::vector<std::string>{"--fault", "drop-at=toast"},
                                         std::vector<std::string>{"--fault", "late=1.5"},
                                         std::vector<std::string>{"--control", "rate 2A19 2"},
                                         std::vector<std::string>{"--control", "rate many"},
                                         std::vector<std::string>{"--fault", "late-name"},
                                         std::vector<std::string>{"--fault", "radio=green"},
                                         std::vector<std::string>{"tramsel"}));

TEST(DemoHelp, IsOnStandardOutput) {
  BridgeProcess demo = start({"--help"});
  EXPECT_EQ(demo.waitForEnd(), ProcessEnd::status(0));
  EXPECT_TRUE(demo.output().starts_with("vornix-demo: "));
  EXPECT_EQ(demo.standardError(), "");
}

// The help may not refer to vornix-lab, which a build may lack.
TEST(DemoHelp, ListsEveryControlAndFaultItself) {
  BridgeProcess demo = start({"--help"});
  EXPECT_EQ(demo.waitForEnd(), ProcessEnd::status(0));
  const std::string& help = demo.output();
  EXPECT_EQ(help.find("vornix-lab"), std::string::npos);
  for (const char* name : {"rate N",
                           "rate UUID N",
                           "count N",
                           "stream on|off",
                           "battery N",
                           "value UUID HEX",
                           "send UUID HEX",
                           "name TEXT",
                           "mains N",
                           "calibration N",
                           "calibration-error N",
                           "json N",
                           "health N",
                           "refuse-read=",
                           "refuse-write=",
                           "refuse-subscribe=",
                           "short=",
                           "value=",
                           "hide=",
                           "last=",
                           "calibration-error=",
                           "reply=",
                           "reply-cut=",
                           "reply-part=",
                           "invalid-utf8",
                           "refuse-connections=",
                           "drop-at=",
                           "silence-at=",
                           "radio="}) {
    EXPECT_NE(help.find(name), std::string::npos) << name;
  }
}

}  // namespace
