// Programs that are started without some of their standard descriptors.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <tuple>
#include <vector>

#include "Scenario.h"

namespace process_test {
namespace {

using support::BridgeProcess;
using support::ProcessEnd;

// Elsewhere only the programs' behaviour without a descriptor is tested.
bool isToldWhatIsOpen() {
  return std::filesystem::exists("/proc/self/fd");
}

// Waits until the program has this file open under this number; while the program is being loaded,
// the number may be that of a library's file.
bool opens(const BridgeProcess& program, int descriptor, std::string_view file) {
  const auto link = "/proc/" + std::to_string(program.id()) + "/fd/" + std::to_string(descriptor);
  const auto deadline = std::chrono::steady_clock::now() + support::patience;
  std::error_code error;
  while (std::filesystem::read_symlink(link, error) != file) {
    if (std::chrono::steady_clock::now() > deadline) return false;
  }
  return true;
}

class StartedWithout : public testing::TestWithParam<int> {
 protected:
  bool isClosed(int descriptor) const { return (GetParam() >> descriptor & 1) != 0; }

  support::ProcessOptions options() const {
    support::ProcessOptions options;
    for (int descriptor = 0; descriptor <= 2; ++descriptor) {
      if (isClosed(descriptor)) options.closed.push_back(descriptor);
    }
    return options;
  }

  // Without an input, which counts as one at its end, the bridge writes its banner alone, if
  // anybody can read it.
  void expectLifeOf(BridgeProcess& bridge) {
    if (isClosed(0)) {
      expectQuietEnd(bridge);
      EXPECT_EQ(transcript(bridge),
                isClosed(1) ? std::vector<std::string>() : std::vector<std::string>{banner});
      return;
    }
    if (isToldWhatIsOpen()) {
      for (const int descriptor : options().closed) {
        EXPECT_TRUE(opens(bridge, descriptor, "/dev/null")) << descriptor;
      }
    }
    if (!isClosed(1)) expectLine(bridge, banner);
    ASSERT_TRUE(bridge.writeLine("one more line"));
    ASSERT_TRUE(bridge.writeLine("kill"));
    expectQuietEnd(bridge);
    if (isClosed(1)) {
      EXPECT_EQ(bridge.output(), "");
    } else {
      // The main thread may still write a line before the end.
      EXPECT_EQ(std::ranges::count(transcript(bridge), "@cde : kill"), 1);
    }
  }
};

TEST_P(StartedWithout, TheBridgeLivesAsWithDevNull) {
  Bridge bridge(tramsel(), options());
  expectLifeOf(bridge);
}

TEST_P(StartedWithout, TheDemoLivesAsWithDevNull) {
  BridgeProcess demo(VORNIX_DEMO, options());
  expectLifeOf(demo);
}

#ifdef VORNIX_PROGRAM
// There is no system bus here. The input ends before the bridge can report its radio as unusable.
TEST_P(StartedWithout, TheBridgeOverBluezEndsWithItsInput) {
  auto started = options();
  started.input = support::ProcessOptions::Input::ended;
  BridgeProcess bridge(VORNIX_PROGRAM, started);
  expectQuietEnd(bridge);
  EXPECT_EQ(transcript(bridge),
            isClosed(1) ? std::vector<std::string>() : std::vector<std::string>{banner});
}
#endif

#ifdef VORNIX_LAB
// The journal, on standard output, reports that there is no such controller.
TEST_P(StartedWithout, TheLabReportsThatItHasNoController) {
  auto started = options();
  started.arguments = {"--controller", "hci9999", "--device", "ilo"};
  BridgeProcess lab(VORNIX_LAB, started);
  EXPECT_EQ(lab.waitForEnd(), ProcessEnd::status(1));
  EXPECT_EQ(lab.output().empty(), isClosed(1));
  EXPECT_EQ(lab.standardError().empty(), isClosed(2));
}
#endif

std::string missing(const testing::TestParamInfo<int>& info) {
  constexpr std::array<std::string_view, 3> names = {"Input", "Output", "Error"};
  std::string name;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if ((info.param >> i & 1) != 0) name += names[i];
  }
  return name.empty() ? "Nothing" : name;
}

INSTANTIATE_TEST_SUITE_P(, StartedWithout, testing::Range(0, 8), missing);

#ifdef VORNIX_OPENS_AT_START
// A library that opens a file before main and keeps it open gets the free descriptor numbers.
TEST(StartedWithoutOutput, ALibraryCannotTakeItsPlace) {
  support::ProcessOptions options;
  options.closed = {0, 1, 2};
  options.environment = {{"LD_PRELOAD", VORNIX_OPENS_AT_START}};
  options.arguments = {"--devices", "tramsel"};
  BridgeProcess demo(VORNIX_DEMO, options);
  expectQuietEnd(demo);
  const std::filesystem::path taken(VORNIX_OPENED_AT_START);
  EXPECT_TRUE(std::filesystem::exists(taken));
  EXPECT_EQ(std::filesystem::file_size(taken), 0U);  // the bridge has written nothing to it
  std::filesystem::remove(taken);
}
#endif

}  // namespace
}  // namespace process_test
