// Tests of BridgeProcess itself, on programs that misbehave in known ways.
#include "support/BridgeProcess.h"

#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <vector>

namespace support {
namespace {

using namespace std::chrono_literals;

class Shell : public BridgeProcess {
 public:
  explicit Shell(const std::string& script, ProcessOptions options = {})
      : BridgeProcess("/bin/sh", (options.arguments = {"-c", script}, std::move(options))) {}
};

TEST(BridgeProcess, SeesAStatusAndASignal) {
  EXPECT_EQ(Shell("exit 3").waitForEnd(), ProcessEnd::status(3));
  EXPECT_EQ(Shell("kill -ABRT $$").waitForEnd(), ProcessEnd::signal(SIGABRT));
}

TEST(BridgeProcess, SeesThatAProgramIsNotThere) {
  BridgeProcess process("/no/such/program");
  EXPECT_EQ(process.waitForEnd(), ProcessEnd::status(127));
  EXPECT_NE(process.standardError(), "");
}

TEST(BridgeProcess, SeesStandardError) {
  Shell shell("echo trouble >&2");
  shell.waitForEnd();
  EXPECT_EQ(shell.standardError(), "trouble\n");
}

TEST(BridgeProcess, SeesADamagedLineAmongGoodOnes) {
  Shell shell("printf '<C;3;0;4A3D>\\n<C;3;0;4A3E>\\n<C;3;0;4A3D>\\n<half'");
  EXPECT_TRUE(shell.waitForEnd());
  ASSERT_EQ(shell.lines().size(), 4U);
  EXPECT_TRUE(shell.lines()[0].isMessage("C;3;0;"));
  EXPECT_TRUE(shell.lines()[1].isDamaged());
  EXPECT_TRUE(shell.lines()[2].isMessage("C;3;0;"));
  EXPECT_EQ(shell.lines()[3].bytes, "<half");
}

TEST(BridgeProcess, TellsOneWriteFromTwo) {
  if (!BridgeProcess::canKeepWritesApart()) GTEST_SKIP() << "this system has no such pipes";
  Shell shell("printf '<C;3;0;'; sleep 0; printf '4A3D>\\n'; printf '<C;3;0;4A3D>\\n'",
              {.output = ProcessOptions::Output::packets});
  shell.waitForEnd();
  EXPECT_EQ(shell.writes(), (std::vector<std::string>{"<C;3;0;", "4A3D>\n", "<C;3;0;4A3D>\n"}));
}

TEST(BridgeProcess, WritesToAndReadsFromTheProgram) {
  BridgeProcess cat("/bin/cat");
  EXPECT_TRUE(cat.writeLine("<C;3;0;4A3D>"));
  EXPECT_TRUE(cat.waitForMessage("C;3;0;"));
  cat.closeInput();
  EXPECT_EQ(cat.waitForEnd(), ProcessEnd::status(0));
}

TEST(BridgeProcess, CountsThreads) {
  if (!BridgeProcess::canCountThreads()) GTEST_SKIP() << "this system does not tell";
  BridgeProcess cat("/bin/cat");
  EXPECT_TRUE(cat.writeLine("<C;3;0;4A3D>"));
  EXPECT_TRUE(cat.waitForMessage("C;3;0;"));  // so it is cat, and no longer a fork of this program
  EXPECT_EQ(cat.threadCount(), 1U);
  cat.closeInput();
  EXPECT_TRUE(cat.waitForEnd());
  EXPECT_EQ(cat.threadCount(), 0U);
}

TEST(BridgeProcess, DoesNotWaitLongerThanAsked) {
  BridgeProcess cat("/bin/cat");
  EXPECT_EQ(cat.next(1ms), std::nullopt);
  EXPECT_EQ(cat.waitForEnd(1ms), std::nullopt);
}

TEST(BridgeProcess, DoesNotWaitLongerThanAskedWhileLinesComeWithoutPause) {
  BridgeProcess yes("/usr/bin/yes");
  EXPECT_EQ(yes.waitForMessage("that never comes", 1ms), std::nullopt);
}

TEST(BridgeProcess, StallsTheProgramsOutput) {
  Shell shell("yes '<C;3;0;4A3D>'");
  shell.stall();
  EXPECT_EQ(shell.next(50ms), std::nullopt);
  shell.resume();
  EXPECT_TRUE(shell.next());
}

TEST(BridgeProcess, GivesUpWritingToAProgramThatDoesNotRead) {
  BridgeProcess sleeper("/bin/sleep", {.arguments = {"60"}});
  EXPECT_FALSE(sleeper.write(std::string(1000000, 'x'), 50ms));
}

TEST(BridgeProcess, LetsTheProgramDieOfAClosedPipe) {
  Shell shell("exec yes");
  shell.closeOutput();
  EXPECT_EQ(shell.waitForEnd(), ProcessEnd::signal(SIGPIPE));
}

TEST(BridgeProcess, GivesTheProgramItsEnvironment) {
  Shell shell("echo \"$TZ\" >&2", {.environment = {{"TZ", "UTC"}, {"TZ", "EAST-5:30"}}});
  shell.waitForEnd();
  EXPECT_EQ(shell.standardError(), "EAST-5:30\n");
}

TEST(BridgeProcess, GivesInputsThatHaveEndedAlready) {
  for (const auto input : {ProcessOptions::Input::ended, ProcessOptions::Input::null}) {
    BridgeProcess cat("/bin/cat", {.input = input});
    EXPECT_EQ(cat.waitForEnd(), ProcessEnd::status(0));
    EXPECT_FALSE(cat.write("x"));
  }
}

}  // namespace
}  // namespace support
