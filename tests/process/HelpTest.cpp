// The answers of the programs to --help and --version.
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "Scenario.h"

namespace process_test {
namespace {

using support::BridgeProcess;
using support::ProcessEnd;
using support::ProcessOptions;

struct Program {
  std::string name;
  std::string file;
};

void PrintTo(const Program& program, std::ostream* out) {
  *out << program.name;
}

class AskedProgram : public testing::TestWithParam<Program> {
 protected:
  // Its input stays open, so it has to end by itself.
  std::string answerTo(std::vector<std::string> arguments) {
    BridgeProcess program(GetParam().file, {.arguments = std::move(arguments)});
    EXPECT_EQ(program.waitForEnd(), ProcessEnd::status(0));
    EXPECT_EQ(program.standardError(), "");
    return program.output();
  }
};

TEST_P(AskedProgram, SaysWhatItIsAndWhereTheProtocolIsDescribed) {
  const std::string help = answerTo({"--help"});
  EXPECT_TRUE(help.starts_with(GetParam().name + ": ")) << help;
  for (const char* word : {"host", "host-protocol.md", "--version", "input"}) {
    EXPECT_NE(help.find(word), std::string::npos) << word;
  }
  EXPECT_EQ(help.find("Demarrage"), std::string::npos);
  for (std::size_t begin = 0, end = 0; begin < help.size(); begin = end + 1) {
    end = help.find('\n', begin);
    ASSERT_NE(end, std::string::npos);
    EXPECT_LE(end - begin, 100U) << help.substr(begin, end - begin);
  }
}

TEST_P(AskedProgram, PrintsTheVersionOfTheProject) {
  EXPECT_EQ(answerTo({"--version"}), GetParam().name + " " + VORNIX_VERSION + "\n");
}

std::vector<Program> programs() {
  return {
#ifdef VORNIX_PROGRAM
      {"vornix", VORNIX_PROGRAM},
#endif
#ifdef VORNIX_LAB
      {"vornix-lab", VORNIX_LAB},
#endif
      {"vornix-demo", VORNIX_DEMO}};
}

INSTANTIATE_TEST_SUITE_P(, AskedProgram, testing::ValuesIn(programs()));

#ifdef VORNIX_PROGRAM
TEST(Arguments, AfterOthersAreAnsweredAsWell) {
  BridgeProcess bridge(VORNIX_PROGRAM, {.arguments = {"--verbose", "--version"}});
  EXPECT_EQ(bridge.waitForEnd(), ProcessEnd::status(0));
  EXPECT_EQ(bridge.output(), "vornix " VORNIX_VERSION "\n");
}

TEST(Arguments, OfAnyOtherKindAreIgnored) {
  BridgeProcess bridge(VORNIX_PROGRAM, {.arguments = {"-h", "help", "--helpful", "--device", ""},
                                        .input = ProcessOptions::Input::ended});
  expectQuietEnd(bridge);
  EXPECT_EQ(transcript(bridge), std::vector<std::string>{banner});
}
#endif

}  // namespace
}  // namespace process_test
