// A command that finds no device or characteristic stops the bridge at once; its log line is the
// last line.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "Scenario.h"

namespace process_test {
namespace {

using Command = std::pair<std::string, std::string>;  // the line and what the bridge logs

const std::vector<Command> corveltaCommands{{"CV_debutCalib", "cde : start CV calibration"},
                                            {"CV_finCalib", "cde : stop CV calibration"},
                                            {"CV_debutAcquisition", "cde : start CV acquisition"},
                                            {"CV_finAcquisition", "cde : stop CV acquistion"}};
const std::vector<Command> rawCommands{{"FX_startRaw", "cde : start raw"},
                                       {"FX_stopRaw", "cde : stop raw"},
                                       {"FX_startRaw2", "cde : start raw 2"},
                                       {"FX_stopRaw2", "cde : stop raw 2"}};
const std::string writeInt = "cde : Fenwix Cmd Write Int";
const std::string writeByte = "cde : Fenwix Cmd Write Byte";
const std::vector<Command> channelCommands{{"FX_getJson", "cde : get json"},
                                           {"FX_cmdWriteInt 12 100000", writeInt},
                                           {"FX_cmdWriteByte 7 1", writeByte}};

// Starts a bridge, waits for the line, sends the command, followed by another, and expects the hard
// stop.
void expectHardStopAt(const Words& air, const std::string& ready, const Command& command) {
  SCOPED_TRACE(command.first);
  Bridge bridge(air);
  expectLine(bridge, ready);
  ASSERT_TRUE(bridge.write(command.first + "\nafter\n"));
  expectHardStop(bridge);
  EXPECT_EQ(transcript(bridge).back(), "@" + command.second);
}

TEST(HardStopByCommand, WithoutADevice) {
  for (const auto& commands : {corveltaCommands, rawCommands, channelCommands}) {
    for (const Command& command : commands) expectHardStopAt({}, poweredOn, command);
  }
}

TEST(HardStopByCommand, WithADeviceOfAnotherFamily) {
  for (const Command& command : corveltaCommands) {
    expectHardStopAt(fenwix(), "<C;5;0;120034;2;260;3;7;", command);
  }
  for (const Command& command : rawCommands) {
    expectHardStopAt(corvelta(), "<C;4;0;100;0;", command);
  }
}

TEST(HardStopByCommand, WithoutTheCharacteristicOfACorvelta) {
  const Words bare{"device=Tarvix-3", "service=180F", "characteristic=2A19", "value=64"};
  for (const Command& command : corveltaCommands) {
    expectHardStopAt(bare, "<C;4;0;100;0;", command);
  }
}

TEST(HardStopByCommand, WithoutTheCharacteristicOfAFenwix) {
  const Words bare{"device=Nomsuel-9", "service=180F",        "characteristic=2A19",
                   "value=57",         "characteristic=2BEB", "value=01"};
  for (const auto& commands : {rawCommands, channelCommands}) {
    for (const Command& command : commands) expectHardStopAt(bare, "<P0;87;1;", command);
  }
}

TEST(HardStopByCommand, WithArgumentsThatAreNoNumbersOfTheirType) {
  const std::vector<Command> commands{{"FX_cmdWriteInt", writeInt},
                                      {"FX_cmdWriteInt ", writeInt},
                                      {"FX_cmdWriteInt 3", writeInt},
                                      {"FX_cmdWriteInt 3 ", writeInt},
                                      {"FX_cmdWriteInt 300 1", writeInt},
                                      {"FX_cmdWriteInt 256 1", writeInt},
                                      {"FX_cmdWriteInt  3 4", writeInt},
                                      {"FX_cmdWriteInt 3  4", writeInt},
                                      {"FX_cmdWriteInt 3 4294967296", writeInt},
                                      {"FX_cmdWriteInt 3 99999999999999999999999", writeInt},
                                      {"FX_cmdWriteInt -1 1", writeInt},
                                      {"FX_cmdWriteInt 1 -1", writeInt},
                                      {"FX_cmdWriteInt a 1", writeInt},
                                      {"FX_cmdWriteInt 1 0x10", writeInt},
                                      {"FX_cmdWriteInt 1 1.0", writeInt},
                                      {"FX_cmdWriteInt + 1", writeInt},
                                      {"FX_cmdWriteInt 1 -", writeInt},
                                      {"FX_cmdWriteInt 1\t2", writeInt},
                                      {"FX_cmdWriteInt\t1 2", writeInt},
                                      {"FX_cmdWriteInt 1 2\t", writeInt},
                                      {"FX_cmdWriteInt 1 \xD9\xA1", writeInt},
                                      {std::string("FX_cmdWriteInt 1 2\0", 19), writeInt},
                                      {"FX_cmdWriteByte", writeByte},
                                      {"FX_cmdWriteByte 3", writeByte},
                                      {"FX_cmdWriteByte 3 256", writeByte},
                                      {"FX_cmdWriteByte 256 3", writeByte},
                                      {"FX_cmdWriteByte 3 -2", writeByte},
                                      {"FX_cmdWriteByte 3 x", writeByte}};
  for (const Command& command : commands) {
    expectHardStopAt(fenwix(), "<C;5;0;120034;2;260;3;7;", command);
  }
}

// The main thread writes values at the same time; its last line is whole.
TEST(HardStopByCommand, WhileDevicesStreamLeavesWholeLines) {
  const Words air = with(tramsel(), id::motion, {"stream=0100FFFF3412F4FF0000E8037FFF0080FF7F"});
  for (int run = 0; run < 100; ++run) {
    Bridge bridge(air);
    expectLine(bridge, "<B;92;1;-1;4660;-12;0;1000;-129;-32768;32767;");
    ASSERT_TRUE(bridge.writeLine("FX_getJson"));
    expectLine(bridge, "@cde : get json");
    expectHardStop(bridge);
  }
}

}  // namespace
}  // namespace process_test
