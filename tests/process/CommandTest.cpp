// Commands of the host, from the line to the device and back.
#include <gtest/gtest.h>

#include <string>

#include "Scenario.h"

namespace process_test {
namespace {

void send(Bridge& bridge, const std::string& command) {
  ASSERT_TRUE(bridge.writeLine(command));
}

// Sends the command and expects its log line, then the message that the device's answer leads to.
void expectAnswer(Bridge& bridge, const std::string& command, const std::string& log,
                  const std::string& answer) {
  send(bridge, command);
  expectLine(bridge, "@" + log);
  expectLine(bridge, "<" + answer);
}

class UnknownCommand : public testing::TestWithParam<std::string> {};

TEST_P(UnknownCommand, IsLoggedAsItWasRead) {
  Bridge bridge({});
  expectLine(bridge, poweredOn);
  ASSERT_TRUE(bridge.write(GetParam() + "\n"));
  expectLine(bridge, "@commande recue non traitee : " + GetParam());
  send(bridge, "kill");
  expectQuietEnd(bridge);
  EXPECT_EQ(bridge.lines().size(), 4U);
}

INSTANTIATE_TEST_SUITE_P(Line, UnknownCommand,
                         testing::Values("", " ", "unknown", "FX_getJson ", " FX_getJson",
                                         "fx_getjson", "CV_debutCalib 1", "FX_startRaw3",
                                         "FX_cmdWrite 1 2", "fx_cmdWriteInt 1 2", "a\rb",
                                         "\xC3\xA9t\xC3\xA9", "\xF0\x9F\x98\x80", "\x80\xFF\xFE",
                                         std::string("a\0b", 3), std::string("\0", 1),
                                         std::string("kill\0", 5), std::string(100000, 'x')),
                         [](const auto& test) { return std::to_string(test.index); });

TEST(UnknownCommands, AreEscapedInTheLog) {
  Bridge bridge({});
  send(bridge, "a<b>c&inf;");
  expectLine(bridge, "@commande recue non traitee : a&inf;b&sup;c&inf;");
}

TEST(UnknownCommands, DoNotDisturbTheNextOne) {
  Bridge bridge({});
  expectLine(bridge, poweredOn);
  for (int i = 0; i < 1000; ++i) send(bridge, "line " + std::to_string(i));
  for (int i = 0; i < 1000; ++i) {
    expectLine(bridge, "@commande recue non traitee : line " + std::to_string(i));
  }
  send(bridge, "kill");
  expectQuietEnd(bridge);
  EXPECT_EQ(bridge.lines().size(), 1003U);
}

TEST(CorveltaCommands, ReachTheDevice) {
  Bridge bridge(corvelta());
  expectLine(bridge, "<C;4;0;100;0;");
  expectAnswer(bridge, "CV_debutCalib", "cde : start CV calibration", "K;NC;1;");
  expectAnswer(bridge, "CV_finCalib", "cde : stop CV calibration", "K;NC;0;");
  expectAnswer(bridge, "CV_debutAcquisition", "cde : start CV acquisition", "K;EC;1;");
  expectAnswer(bridge, "CV_finAcquisition", "cde : stop CV acquistion", "K;EC;0;");
}

// The device shows by its battery level whether its stream is subscribed: 1 or 0.
TEST(FenwixRawCommands, SwitchTheFirstStream) {
  Bridge bridge(with(fenwix(), id::raw, {"tell=2A19", "send=01A0FF"}));
  expectLine(bridge, "<C;5;0;120034;2;260;3;7;");
  expectAnswer(bridge, "FX_startRaw", "cde : start raw", "P0;1;1;");
  expectLine(bridge, "<PR1;01A0FF;");
  expectAnswer(bridge, "FX_stopRaw", "cde : stop raw", "P0;0;1;");
}

TEST(FenwixRawCommands, SwitchTheSecondStream) {
  Bridge bridge(with(fenwix(), id::raw2, {"tell=2A19", "send=000FF0"}));
  expectLine(bridge, "<C;5;0;120034;2;260;3;7;");
  expectAnswer(bridge, "FX_startRaw2", "cde : start raw 2", "P0;1;1;");
  expectLine(bridge, "<PR2;000FF0;");
  expectAnswer(bridge, "FX_stopRaw2", "cde : stop raw 2", "P0;0;1;");
}

// The device returns each frame on its raw stream.
TEST(FenwixCommands, ReachTheDeviceByteForByte) {
  Bridge bridge(fenwix());
  expectLine(bridge, "<C;5;0;120034;2;260;3;7;");
  send(bridge, "FX_startRaw");
  expectAnswer(bridge, "FX_getJson", "cde : get json", "PR1;130000;");
  const std::string writeInt = "cde : Fenwix Cmd Write Int";
  expectAnswer(bridge, "FX_cmdWriteInt 12 100000", writeInt, "PR1;0C0400A0860100;");
  expectAnswer(bridge, "FX_cmdWriteInt 3 4294967295", writeInt, "PR1;030400FFFFFFFF;");
  expectAnswer(bridge, "FX_cmdWriteInt 255 0", writeInt, "PR1;FF040000000000;");
  const std::string writeByte = "cde : Fenwix Cmd Write Byte";
  expectAnswer(bridge, "FX_cmdWriteByte 7 1", writeByte, "PR1;07010001;");
  expectAnswer(bridge, "FX_cmdWriteByte 0 255", writeByte, "PR1;000100FF;");
}

TEST(FenwixCommands, TakeSignsLeadingZerosAndMoreFields) {
  Bridge bridge(fenwix());
  expectLine(bridge, "<C;5;0;120034;2;260;3;7;");
  send(bridge, "FX_startRaw");
  const std::string writeInt = "cde : Fenwix Cmd Write Int";
  expectAnswer(bridge, "FX_cmdWriteInt +12 -0", writeInt, "PR1;0C040000000000;");
  expectAnswer(bridge, "FX_cmdWriteInt 0000000000013 0000000000000000000000001", writeInt,
               "PR1;0D040001000000;");
  expectAnswer(bridge, "FX_cmdWriteInt 14 2 x  y", writeInt, "PR1;0E040002000000;");
  expectAnswer(bridge, "FX_cmdWriteInt 15 3 ", writeInt, "PR1;0F040003000000;");
  expectAnswer(bridge, "FX_cmdWriteIntX 16 4", writeInt, "PR1;10040004000000;");
  expectAnswer(bridge, "FX_cmdWriteByte! 17 5", "cde : Fenwix Cmd Write Byte", "PR1;11010005;");
}

TEST(Commands, MayEndWithCarriageReturnAndLineFeed) {
  Bridge bridge(fenwix());
  expectLine(bridge, "<C;5;0;120034;2;260;3;7;");
  ASSERT_TRUE(bridge.write("FX_startRaw\r\nFX_cmdWriteByte 7 1\r\n"));
  expectLine(bridge, "<PR1;07010001;");
}

TEST(Commands, AreCarriedOutInOrderWhileDevicesStream) {
  Bridge bridge(with(fenwix(), id::rms, {"stream=0000803F"}) +
                with(tramsel(), id::motion, {"stream=0100FFFF3412F4FF0000E8037FFF0080FF7F"}));
  expectLine(bridge, "<C;5;0;120034;2;260;3;7;");
  send(bridge, "FX_startRaw");
  for (int i = 0; i < 200; ++i) send(bridge, "FX_cmdWriteByte 7 " + std::to_string(i));
  constexpr std::string_view digits = "0123456789ABCDEF";
  for (std::size_t i = 0; i < 200; ++i) {
    expectLine(bridge, std::string("<PR1;070100") + digits[i / 16] + digits[i % 16] + ";");
  }
  send(bridge, "kill");
  expectQuietEnd(bridge);
}

}  // namespace
}  // namespace process_test
