// How the bridge starts, and the ways in which it ends by itself.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "Scenario.h"
#include "support/Sanitizer.h"

namespace process_test {
namespace {

using support::ProcessOptions;
using Input = ProcessOptions::Input;
using Lines = std::vector<std::string>;

// To find an end that goes wrong once in hundreds of times. A sanitizer needs fewer runs, since it
// also sees mistakes that have no effect; each run takes it twenty times as long.
constexpr int manyRuns = support::hasAddressSanitizer || support::hasThreadSanitizer ? 50 : 1000;

// Runs a bridge with these bytes as its whole input, and returns the lines that it answers them
// with.
Lines saidTo(const std::string& input) {
  Bridge bridge({"state=resetting"});
  expectLine(bridge, "@manager state update : resetting");
  EXPECT_TRUE(bridge.write(input));
  bridge.closeInput();
  expectQuietEnd(bridge);
  Lines lines = transcript(bridge);
  EXPECT_EQ(lines.front(), banner);
  lines.erase(lines.begin(), lines.begin() + 2);
  return lines;
}

TEST(Start, SaysTheBannerFirst) {
  Bridge bridge({});
  const auto first = bridge.next();
  ASSERT_TRUE(first);
  EXPECT_TRUE(first->isLog("Demarrage de Vornix 1.04"));
}

TEST(EmptyInput, GivesTheBannerAloneEveryTime) {
  for (int run = 0; run < manyRuns; ++run) {
    Bridge bridge(tramsel(), {.input = run % 2 == 0 ? Input::ended : Input::null});
    expectQuietEnd(bridge);
    ASSERT_EQ(transcript(bridge), Lines{banner}) << "run " << run;
  }
}

TEST(EndOfInput, EndsTheBridgeWithoutAWord) {
  Bridge bridge(tramsel());
  expectLine(bridge, "@Connexion a Tramsel-12");
  bridge.closeInput();
  expectQuietEnd(bridge);
  EXPECT_EQ(bridge.lines().back().text, "Connexion a Tramsel-12");
}

TEST(NoDevice, LetsTheBridgeScanUntilItsInputEnds) {
  // The radio's next states come after 70 s, when the 60 s of a scan are over.
  Bridge bridge({"driven", "pause=70000", "state=poweredOn,resetting,poweredOn,resetting"});
  const Lines expected{banner,
                       poweredOn,
                       "@manager state update : resetting",
                       poweredOn,
                       "@manager state update : resetting",
                       "@commande recue non traitee : still there"};
  for (int i = 0; i < 5; ++i) ASSERT_TRUE(bridge.next());
  ASSERT_TRUE(bridge.writeLine("still there"));
  expectLine(bridge, expected.back());
  bridge.closeInput();
  expectQuietEnd(bridge);
  EXPECT_EQ(transcript(bridge), expected);
}

// As in a minimal container image. The folder of the locales is hidden from the bridge alone.
TEST(NoLocale, IsNeededToReadNames) {
  const std::string hide = "mount -t tmpfs none /usr/lib/locale";
  if (std::system(("unshare -rm " + hide + " 2>/dev/null").c_str()) != 0) {
    GTEST_SKIP() << "no folder can be hidden from a process here";
  }
  Words shell = {"-rm", "sh", "-c", hide + " && exec \"$@\"", "sh", VORNIX_SCRIPTED};
  support::BridgeProcess bridge("/usr/bin/unshare",
                                {.arguments = shell + Words{"device=\u0130LO"} + tramsel()});
  expectLine(bridge, "@Device trouve : i\u0307lo");
  expectLine(bridge, "@Connexion a Tramsel-12");
  bridge.closeInput();
  expectQuietEnd(bridge);
}

TEST(Kill, IsLoggedAndEndsTheBridge) {
  EXPECT_EQ(saidTo("kill\n"), Lines{"@cde : kill"});
}

TEST(Kill, IsNotFollowedByAnotherCommand) {
  EXPECT_EQ(saidTo("kill\nkill\nother\n"), Lines{"@cde : kill"});
}

TEST(Kill, MayEndWithCarriageReturnAndLineFeed) {
  EXPECT_EQ(saidTo("kill\r\n"), Lines{"@cde : kill"});
}

TEST(Kill, MayBeTheLastLineWithoutALineFeed) {
  EXPECT_EQ(saidTo("kill"), Lines{"@cde : kill"});
}

TEST(Kill, WithABlankOrInOtherLettersIsUnknown) {
  EXPECT_EQ(saidTo("kill \n kill\nKill\nkill\t\nkillx\n"),
            (Lines{"@commande recue non traitee : kill ", "@commande recue non traitee :  kill",
                   "@commande recue non traitee : Kill", "@commande recue non traitee : kill\t",
                   "@commande recue non traitee : killx"}));
}

TEST(LastLine, WithoutALineFeedIsHandledAndThenTheBridgeEnds) {
  EXPECT_EQ(saidTo("one\ntwo"),
            (Lines{"@commande recue non traitee : one", "@commande recue non traitee : two"}));
}

TEST(Streaming, IsEndedByKillWithWholeLinesEveryTime) {
  const Words air =
      with(tramsel(), id::motion, {"stream=0100FFFF3412F4FF0000E8037FFF0080FF7F"}) +
      with(with(fenwix(), id::rms, {"stream=0000803F"}), id::rms2, {"stream=CDCCCC3D"}) +
      with(ilo(), id::ilo, {"stream=0000341200000000000000005000"});
  for (int run = 0; run < manyRuns; ++run) {
    Bridge bridge(air);
    expectLine(bridge, "<B;92;1;-1;4660;-12;0;1000;-129;-32768;32767;");
    expectLine(bridge, "<P2;1000000;");
    ASSERT_TRUE(bridge.writeLine("kill"));
    expectQuietEnd(bridge);
    const Lines lines = transcript(bridge);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "@cde : kill"), 1);
    if (HasFailure()) FAIL() << "run " << run;
  }
}

TEST(Streaming, IsEndedByTheEndOfInputWithWholeLines) {
  for (int run = 0; run < 100; ++run) {
    Bridge bridge(with(tramsel(), id::motion, {"stream=0100FFFF3412F4FF0000E8037FFF0080FF7F"}));
    expectLine(bridge, "<B;92;1;-1;4660;-12;0;1000;-129;-32768;32767;");
    bridge.closeInput();
    expectQuietEnd(bridge);
    if (HasFailure()) FAIL() << "run " << run;
  }
}

TEST(Threads, AreExactlyTwo) {
  if (!Bridge::canCountThreads()) GTEST_SKIP() << "this system does not tell";
  Bridge bridge(with(tramsel(), id::motion, {"stream=0100FFFF3412F4FF0000E8037FFF0080FF7F"}));
  expectLine(bridge, "<B;92;1;-1;4660;-12;0;1000;-129;-32768;32767;");
  ASSERT_TRUE(bridge.writeLine("is the reader there"));
  expectLine(bridge, "@commande recue non traitee : is the reader there");
  EXPECT_EQ(bridge.threadCount(), 2U + support::threadsOfSanitizer);
}

}  // namespace
}  // namespace process_test
