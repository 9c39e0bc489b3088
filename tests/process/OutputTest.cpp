// How lines leave the bridge: in whole writes, also when the host stalls or is gone.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <string>
#include <thread>
#include <variant>
#include <vector>

#include "Scenario.h"

namespace process_test {
namespace {

using namespace std::chrono;
using support::OutputLine;
using support::ProcessOptions;

class Writes : public testing::Test {
 protected:
  void SetUp() override {
    if (!Bridge::canKeepWritesApart()) GTEST_SKIP() << "this system does not show writes";
  }
};

TEST_F(Writes, AreOneLineEach) {
  Bridge bridge(with(fenwix(), id::rms, {"stream=0000803F"}) +
                    with(tramsel(), id::motion, {"stream=0100FFFF3412F4FF0000E8037FFF0080FF7F"}),
                {.output = ProcessOptions::Output::packets});
  expectLine(bridge, "<C;5;0;120034;2;260;3;7;");
  for (int i = 0; i < 500; ++i) ASSERT_TRUE(bridge.writeLine("line " + std::to_string(i)));
  ASSERT_TRUE(bridge.writeLine("kill"));
  expectQuietEnd(bridge);
  ASSERT_EQ(bridge.writes().size(), bridge.lines().size());
  for (std::size_t i = 0; i < bridge.writes().size(); ++i) {
    ASSERT_EQ(bridge.writes()[i], bridge.lines()[i].bytes);
  }
}

// A write longer than a page arrives in pages, all full but the last.
TEST_F(Writes, AreOneForALongLineToo) {
  const std::string text(10000, 'x');
  Bridge bridge({}, {.output = ProcessOptions::Output::packets});
  expectLine(bridge, poweredOn);
  ASSERT_TRUE(bridge.writeLine(text));
  expectLine(bridge, "@commande recue non traitee : " + text);
  ASSERT_EQ(bridge.writes().size(), 5U);
  EXPECT_EQ(bridge.writes()[2].size(), 4096U);
  EXPECT_EQ(bridge.writes()[3].size(), 4096U);
  EXPECT_EQ(bridge.writes()[2] + bridge.writes()[3] + bridge.writes()[4],
            bridge.lines().back().bytes);
}

// The numbers of the counted motion values (Script.h, count) among the lines, in order.
std::vector<std::uint32_t> counted(const support::BridgeProcess& bridge) {
  std::vector<std::uint32_t> numbers;
  for (const OutputLine& line : bridge.lines()) {
    const auto message = line.message();
    const auto* motion = std::get_if<vornix_host::TramselMotion>(&message);
    if (motion == nullptr) continue;
    const auto low = static_cast<std::uint16_t>(motion->values[0]);
    numbers.push_back(low + 65536U * static_cast<std::uint16_t>(motion->values[1]));
  }
  return numbers;
}

// Does not read the bridge's output for this long.
void stall(Bridge& bridge, milliseconds duration) {
  bridge.stall();
  while (bridge.next(milliseconds(0))) continue;  // lines that were read before
  EXPECT_FALSE(bridge.next(duration));
  bridge.resume();
}

// Whether the process ends although nobody reads its output.
bool endsUnread(const Bridge& bridge) {
  const auto deadline = steady_clock::now() + support::patience;
  siginfo_t end{};
  while (::waitid(P_PID, static_cast<id_t>(bridge.id()), &end, WEXITED | WNOHANG | WNOWAIT) == 0) {
    if (end.si_pid != 0) return true;
    if (steady_clock::now() > deadline) return false;
    std::this_thread::yield();
  }
  return false;
}

TEST(StalledHost, LosesNothing) {
  constexpr std::uint32_t total = 100000;  // fills the pipe sixty times
  Bridge bridge(with(tramsel(), id::motion, {"count=18," + std::to_string(total)}));
  expectLine(bridge, "@Connexion a Tramsel-12");
  stall(bridge, seconds(1));
  const std::string last = "<B;92;" + std::to_string(static_cast<std::int16_t>(total - 1)) + ";" +
                           std::to_string((total - 1) / 65536) + ";0;0;0;0;0;0;0;";
  expectLine(bridge, last);
  bridge.closeInput();
  expectQuietEnd(bridge);

  const std::vector<std::uint32_t> numbers = counted(bridge);
  ASSERT_EQ(numbers.size(), total);
  for (std::uint32_t i = 0; i < total; ++i) ASSERT_EQ(numbers[i], i);
}

TEST(StalledHost, GetsTheAnswersToCommandsSentMeanwhile) {
  Bridge bridge(with(tramsel(), id::motion, {"count=18,20000"}));
  expectLine(bridge, "@Connexion a Tramsel-12");
  bridge.stall();
  ASSERT_TRUE(bridge.writeLine("asked while stalled"));
  stall(bridge, milliseconds(300));
  expectLine(bridge, "@commande recue non traitee : asked while stalled");
  bridge.closeInput();
  expectQuietEnd(bridge);
}

// A device that is switched on only after the scan should have ended is not found.
TEST(StalledHost, DoesNotKeepTheScanGoing) {
  Bridge bridge(with(tramsel(), id::motion, {"count=18,20000"}) + ilo() + corvelta() +
                withOwn(fenwix(), {"late=2500"}));
  expectLine(bridge, "@Connexion a Tramsel-12");
  stall(bridge, milliseconds(3500));
  expectLine(bridge, "<B;92;19999;0;0;0;0;0;0;0;0;");
  bridge.closeInput();
  expectQuietEnd(bridge);
  const std::vector<std::string> lines = transcript(bridge);
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "@Stop Scan"), 1);
  for (const std::string& line : lines) EXPECT_EQ(line.find("Nomsuel"), std::string::npos) << line;
}

TEST(StalledHost, DoesNotKeepTheBridgeFromEndingOnKill) {
  Bridge bridge(with(tramsel(), id::motion, {"stream=0100FFFF3412F4FF0000E8037FFF0080FF7F"}));
  expectLine(bridge, "@Connexion a Tramsel-12");
  stall(bridge, milliseconds(300));
  bridge.stall();
  ASSERT_TRUE(bridge.writeLine("kill"));
  EXPECT_TRUE(endsUnread(bridge));
}

// The pipe holds a part of a long line when the bridge is told to end.
TEST(StalledHost, ThatReadsOnAfterKillGetsTheStartedLineWhole) {
  const std::string piece(1000, '3');  // 500 times "3"
  const std::vector<std::string> pieces(131, "send=" + piece);
  Bridge bridge(with(with(fenwix(), id::command, {"send=AA13DCFF"}), id::command, pieces),
                {.outputRoom = 4096});
  bridge.stall();
  while (bridge.next(milliseconds(0))) continue;  // lines that were read before
  EXPECT_FALSE(bridge.next(seconds(1)));
  ASSERT_TRUE(bridge.writeLine("kill"));
  bridge.resume();
  expectLine(bridge, "<PJSON;" + std::string(65500, '3') + ";");
  expectQuietEnd(bridge);
}

// A long line from the reader thread waits for the host as well, and stays whole among the values.
TEST(StalledHost, GetsALongAnswerAndEveryValue) {
  constexpr std::uint32_t total = 20000;
  Bridge bridge(with(tramsel(), id::motion, {"count=18," + std::to_string(total)}));
  expectLine(bridge, "@Connexion a Tramsel-12");
  bridge.stall();
  const std::string text(60000, '<');
  ASSERT_TRUE(bridge.writeLine(text));
  stall(bridge, milliseconds(500));
  std::string escaped;
  for (std::size_t i = 0; i < text.size(); ++i) escaped += "&inf;";
  expectLine(bridge, "@commande recue non traitee : " + escaped);
  expectLine(bridge, "<B;92;19999;0;0;0;0;0;0;0;0;");
  bridge.closeInput();
  expectQuietEnd(bridge);
  const std::vector<std::uint32_t> numbers = counted(bridge);
  ASSERT_EQ(numbers.size(), total);
  for (std::uint32_t i = 0; i < total; ++i) ASSERT_EQ(numbers[i], i);
}

// Two lines that together do not fit into the pipe, and many more after them.
TEST(StalledHost, WhosePipesDoNotBlockGetsWholeLines) {
  Bridge bridge(with(tramsel(), id::motion, {"count=18,20000"}),
                {.areEndsNonBlocking = true, .outputRoom = 4096});
  expectLine(bridge, "@Connexion a Tramsel-12");
  bridge.stall();
  const std::string text(3000, 'x');
  for (int i = 0; i < 3; ++i) ASSERT_TRUE(bridge.writeLine(text));
  stall(bridge, milliseconds(300));
  for (int i = 0; i < 3; ++i) expectLine(bridge, "@commande recue non traitee : " + text);
  bridge.closeInput();
  expectQuietEnd(bridge);
}

// More commands than all buffers in between hold: when the last is accepted, most are handled.
void sendMuch(Bridge& bridge) {
  const std::string line(1000, 'x');
  for (int i = 0; i < 1000; ++i) ASSERT_TRUE(bridge.writeLine(line));
}

TEST(HostThatIsGone, DoesNotEndTheBridgeUntilItsInputEnds) {
  Bridge bridge({});
  expectLine(bridge, poweredOn);
  bridge.closeOutput();
  sendMuch(bridge);
  EXPECT_EQ(bridge.waitForEnd(milliseconds(100)), std::nullopt);
  bridge.closeInput();
  expectQuietEnd(bridge);
}

TEST(HostThatIsGone, WhileDevicesStreamDoesNotEndTheBridge) {
  Bridge bridge(with(tramsel(), id::motion, {"stream=0100FFFF3412F4FF0000E8037FFF0080FF7F"}));
  expectLine(bridge, "<B;92;1;-1;4660;-12;0;1000;-129;-32768;32767;");
  bridge.closeOutput();
  sendMuch(bridge);
  EXPECT_EQ(bridge.waitForEnd(milliseconds(100)), std::nullopt);
  bridge.closeInput();
  expectQuietEnd(bridge);
}

}  // namespace
}  // namespace process_test
