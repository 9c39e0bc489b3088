#include "RunLoop.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cmath>
#include <limits>

#include "Output.h"
#include "Utils.h"
#include "main.h"
#include "tests/support/NonBlockingPipe.h"
#include "tests/unit/core/support/BridgeTest.h"

namespace unit {
namespace {

const std::string kSlice = "runUntil +1.000000";
const Entries kGoesOn = {kSlice};
const Entries kStops = {kSlice, log("Stop Scan"), "stopScan"};

class RunLoop : public BridgeTest {
 protected:
  RunLoop() {
    central().setState(platform::CBManagerState::poweredOn);
    comBLE.centralManagerDidUpdateState(central());
    journal.clear();
  }

  Entries turn() {
    return of([this] { turnRunLoop(platform, comBLE); });
  }

  // Turns the run loop once, so that its slice ends at the given date.
  Entries turnUntil(double date) {
    platform.setNow(date - 1);
    return turn();
  }

  static constexpr double kRequest = 1'700'000'000.5;  // date of the first connection request

  // The first representable date that is later than 60 seconds after the request.
  const double justAbove = std::nextafter(kRequest + 60, std::numeric_limits<double>::infinity());

  void findAt(double date, const std::string& name) {
    platform.setNow(date);
    found(name);
  }
};

TEST_F(RunLoop, IsTurnedForASecondFromNow) {
  EXPECT_EQ(turn(), kGoesOn);
  EXPECT_EQ(turn(), kGoesOn);
}

// The scan itself stops; the log line waits for the host, in its place, and is written once.
TEST_F(RunLoop, StopsTheScanAtOnceWhenTheHostDoesNotRead) {
  findAt(kRequest, "Tramsel");
  journal.clear();
  std::array<int, 2> ends{};
  ASSERT_TRUE(support::openNonBlockingPipe(ends));
  while (::write(ends[1], "x", 1) == 1) continue;
  ASSERT_GE(::dup2(ends[1], STDOUT_FILENO), 0);
  EXPECT_EQ(turnUntil(justAbove), (Entries{kSlice, "stopScan"}));
  EXPECT_FALSE(comBLE.scanEnCours);
  writeLine("after it");
  EXPECT_EQ(turn(), kGoesOn);
  resumeJournal();
  journal.clear();
  standardOutput().letOut();
  EXPECT_EQ(journal.take(), (Entries{log("Stop Scan"), log("after it")}));
  ::close(ends[0]);
  ::close(ends[1]);
}

TEST_F(RunLoop, NeverStopsTheScanWithNoDeviceInRange) {
  platform.setNow(1'700'000'000);
  for (int i = 0; i < 1000; ++i) ASSERT_EQ(turn(), kGoesOn);
  platform.setNow(4'000'000'000);
  EXPECT_EQ(turn(), kGoesOn);
  EXPECT_TRUE(comBLE.scanEnCours);
}

TEST_F(RunLoop, DoesNotStopTheScanAtExactly60Seconds) {
  findAt(kRequest, "Tarvix");
  EXPECT_EQ(turnUntil(kRequest + 60), kGoesOn);
  EXPECT_TRUE(comBLE.scanEnCours);
}

TEST_F(RunLoop, StopsTheScanJustAbove60Seconds) {
  findAt(kRequest, "Tarvix");
  EXPECT_EQ(turnUntil(justAbove), kStops);
  EXPECT_FALSE(comBLE.scanEnCours);
}

TEST_F(RunLoop, StopsTheScanAtTheFirstSliceThatEndsAfter60Seconds) {
  findAt(kRequest, "Tarvix");
  platform.setNow(kRequest + 0.25);
  for (int i = 1; i <= 59; ++i) ASSERT_EQ(turn(), kGoesOn) << i;
  EXPECT_EQ(turn(), kStops);
}

TEST_F(RunLoop, LooksAtTheTimeAfterTheSliceAndNotAtItsPlannedEnd) {
  findAt(kRequest, "Tarvix");
  platform.setNow(kRequest + 1);
  platform.setEvent([this] { platform.setNow(kRequest + 61); });
  EXPECT_EQ(turn(), kStops);
}

TEST_F(RunLoop, CountsFromTheFirstConnectionRequest) {
  findAt(kRequest, "Tarvix");
  findAt(kRequest + 50, "Tramsel");
  EXPECT_EQ(turnUntil(justAbove), kStops);
}

TEST_F(RunLoop, CountsFromTheRequestAndNotFromTheConnection) {
  platform.setNow(kRequest);
  const auto device = found("Tarvix");
  platform.setNow(kRequest + 30);
  connect(device);
  EXPECT_EQ(turnUntil(justAbove), kStops);
}

TEST_F(RunLoop, StopsTheScanForAFenwixAloneOnlyAfter60Seconds) {
  findAt(kRequest, "Nomsuel");
  EXPECT_EQ(turnUntil(kRequest + 60), kGoesOn);
  EXPECT_EQ(turnUntil(justAbove), kStops);
}

TEST_F(RunLoop, StopsTheScanOnceCorveltaProbeAndTramselAreFound) {
  findAt(kRequest, "Tarvix");
  EXPECT_EQ(turn(), kGoesOn);
  found("Ilo");
  EXPECT_EQ(turn(), kGoesOn);
  found("Tramsel");
  EXPECT_EQ(turn(), kStops);
}

TEST_F(RunLoop, StopsTheScanInTheSliceInWhichTheThirdIsFound) {
  findAt(kRequest, "Tramsel");
  found("Tarvix");
  platform.setEvent([this] {
    found("Tenoval");
    platform.setEvent({});
  });
  const Entries entries = turn();
  EXPECT_EQ(entries.back(), "stopScan");
  EXPECT_EQ(turn(), kGoesOn);
}

TEST_F(RunLoop, DoesNotCountAFenwixAmongTheThree) {
  findAt(kRequest, "Nomsuel");
  found("Tarvix");
  found("Ilo");
  EXPECT_EQ(turn(), kGoesOn);
  found("Tramsel");
  EXPECT_EQ(turn(), kStops);
}

TEST_F(RunLoop, GoesOnWithAnyTwoOfTheThree) {
  const std::string names[] = {"Tarvix", "Ilo", "Tramsel"};
  for (const auto& missing : names) {
    ComBLE other(platform);
    other.scanEnCours = true;
    for (const auto& name : names) {
      if (name != missing) other.centralManagerDidDiscover(central(), deviceNamed(name));
    }
    EXPECT_EQ(of([&] { turnRunLoop(platform, other); }), kGoesOn) << "without " << missing;
  }
}

TEST_F(RunLoop, NeverStopsTheScanTwice) {
  findAt(kRequest, "Tarvix");
  EXPECT_EQ(turnUntil(justAbove), kStops);
  EXPECT_EQ(turn(), kGoesOn);
  found("Ilo");
  found("Tramsel");
  EXPECT_EQ(turn(), kGoesOn);
  EXPECT_EQ(turnUntil(kRequest + 10'000), kGoesOn);
}

TEST_F(RunLoop, StopsTheScanAgainThatFollowsAReset) {
  findAt(kRequest, "Tarvix");
  turnUntil(justAbove);
  central().setState(platform::CBManagerState::resetting);
  comBLE.centralManagerDidUpdateState(central());
  EXPECT_EQ(turn(), kGoesOn);
  central().setState(platform::CBManagerState::poweredOn);
  comBLE.centralManagerDidUpdateState(central());
  EXPECT_EQ(turn(), kStops);
  EXPECT_EQ(turn(), kGoesOn);
}

TEST_F(RunLoop, DoesNotStopAScanThatDoesNotRun) {
  findAt(kRequest, "Tarvix");
  comBLE.scanEnCours = false;
  EXPECT_EQ(turnUntil(kRequest + 100), kGoesOn);
}

TEST_F(RunLoop, WithoutAManagerStopsTheProcessAtStopScan) {
  findAt(kRequest, "Tarvix");
  platform.setNow(kRequest + 100);
  comBLE.manager.reset();
  expectAbort(journal, [this] { turnRunLoop(platform, comBLE); }, {kSlice, log("Stop Scan")});
}

class Start : public testing::Test {
 protected:
  // Runs the bridge with these bytes on its standard input. The run loop's first slice never ends,
  // so the journal does not depend on how long the reader takes.
  void run(const std::string& input) {
    replaceStandardInput(input);
    platform.setEvent([] {
      for (;;) pause();
    });
    runVornix(platform);
  }

  // Whether the first slice is begun before the reader ends the process is a matter of chance.
  static Entries withoutRunLoop(Entries entries) {
    std::erase(entries, kSlice);
    return entries;
  }

  void expectLines(const std::string& input, const Entries& lines) {
    EXPECT_EXIT(run(input), testing::ExitedWithCode(0), testing::Eq(""));
    Entries expected = {"deliverInto 1", "makeCentralManager", log("Demarrage de Vornix 1.04")};
    expected.insert(expected.end(), lines.begin(), lines.end());
    EXPECT_EQ(withoutRunLoop(journal.take()), expected);
  }

  Journal journal;
  RecordingPlatform platform{journal};
};

TEST_F(Start, MakesTheCentralThenGreetsAndEndsWithItsInput) {
  expectLines("", {});
}

TEST_F(Start, ServesTheHostUntilKill) {
  expectLines("bonjour\nkill\nbonjour\n",
              {log("commande recue non traitee : bonjour"), log("cde : kill")});
}

TEST_F(Start, MakesStandardOutputUnbuffered) {
  EXPECT_EXIT(
      {
        static char buffer[4096];
        std::setvbuf(stdout, buffer, _IOFBF, sizeof buffer);
        run("");
      },
      testing::ExitedWithCode(0), testing::Eq(""));
  EXPECT_EQ(withoutRunLoop(journal.take()).back(), log("Demarrage de Vornix 1.04"));
}

}  // namespace
}  // namespace unit
