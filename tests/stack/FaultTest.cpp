// Faults of the daemons, of the radio and the device, and of the host, with the required end of
// each at each stage.
#include <algorithm>

#include "Faults.h"
#include "ProcessUse.h"

namespace stack {
namespace {

using namespace std::chrono_literals;
using enum End;

class DaemonFaultTest : public FaultTest {};
class RadioFaultTest : public FaultTest {};
class HostFaultTest : public FaultTest {};

TEST_P(DaemonFaultTest, EndsAsItMust) {
  checkCell();
}
TEST_P(RadioFaultTest, EndsAsItMust) {
  checkCell();
}
TEST_P(HostFaultTest, EndsAsItMust) {
  checkCell();
}

const std::vector<Fault> kDaemonFaults = {
    // name, strike, {scanning, connecting, discovering, streaming}
    {"BluetoothdKilled",
     &FaultTest::killBluetoothd,
     {idles, idles, idles, idles},
     {"resetting"},
     "",
     true},
    {"BluetoothdRestarted",
     &FaultTest::restartBluetoothd,
     {streams, streams, idles, idles},
     {"resetting", "poweredOn"},
     "",
     true},
    {"BluetoothdRestartedInOrder",
     &FaultTest::restartBluetoothdInOrder,
     {streams, streams, idles, idles},
     {"resetting", "poweredOn"},
     "",
     true},
    // Discovering: a device that does not answer for 30 s counts for bluetoothd as one without
    // services, which is no error.
    {"BluetoothdStopped", &FaultTest::stopBluetoothd, {streams, streams, idles, streams}},
    {"BusKilled", &FaultTest::killBus, {quits, quits, quits, quits}, {"unsupported"}, "Z;3;"},
};

const std::vector<Fault> kRadioFaults = {
    // Connecting: bluetoothd 5.66 may crash when the adapter goes while it makes a link.
    {"PoweredOff",
     &FaultTest::powerOff,
     {quits, quitsOrIdles, quits, quits},
     {"poweredOff"},
     "Z;2;"},
    {"Removed",
     &FaultTest::removeAdapter,
     {quits, quitsOrIdles, quits, quits},
     {"unsupported"},
     "Z;3;"},
    {"Blocked",
     &FaultTest::blockAdapter,
     {quits, quitsOrIdles, quits, quits},
     {"poweredOff"},
     "Z;2;"},
    {"LinkLost", &FaultTest::loseLink, {none, none, idles, idles}, {}, "", true},
    // Only once all services are discovered does anybody listen for their withdrawal.
    {"MotionWithdrawn", &FaultTest::withdrawMotion, {none, none, none, idles}},
    {"BatteryWithdrawn", &FaultTest::withdrawBattery, {none, none, none, streams}},
};

const std::vector<Fault> kHostFaults = {
    {"OutputClosed", &FaultTest::closeOutput, {isUnread, isUnread, isUnread, isUnread}},
    {"ManyCommands", &FaultTest::sendManyCommands, {streams, streams, idles, streams}},
    {"LongLine", &FaultTest::sendLongLine, {streams, none, none, streams}},
    {"BytesBeyondAscii", &FaultTest::sendBytesBeyondAscii, {streams, streams, idles, streams}},
    {"ZeroBytes", &FaultTest::sendZeroBytes, {streams, streams, idles, streams}},
};

INSTANTIATE_TEST_SUITE_P(Fault, DaemonFaultTest, ::testing::ValuesIn(cellsOf(kDaemonFaults)),
                         cellName);
INSTANTIATE_TEST_SUITE_P(Fault, RadioFaultTest, ::testing::ValuesIn(cellsOf(kRadioFaults)),
                         cellName);
INSTANTIATE_TEST_SUITE_P(Fault, HostFaultTest, ::testing::ValuesIn(cellsOf(kHostFaults)), cellName);

// The device disappears in the middle of a request, which then has no result: no message that
// depends on it may come.
struct Interruption {
  const char* name;
  const char* device;
  const char* fault;
  const char* command;  // sent by the host once the device is identified; empty: none
  const char* untold;   // the beginning of the messages that depend on the request
};

class RequestFaultTest : public FaultBench, public ::testing::WithParamInterface<Interruption> {};

TEST_P(RequestFaultTest, GoneInTheMiddle) {
  const Interruption& row = GetParam();
  stack_.start(2);
  device_ = std::make_unique<LabDevice>(folder_, "hci1", row.device,
                                        std::vector<std::string>{"--fault", row.fault});
  bridge_ = &startBridge();
  if (*row.command != '\0') {
    const auto isIdentification = [](const support::OutputLine& line) {
      return line.text.starts_with("C;5;0;");
    };
    ASSERT_TRUE(bridge_->waitFor(isIdentification));
    EXPECT_TRUE(bridge_->writeLine(row.command));
  }
  EXPECT_TRUE(device_->waitFor("disconnected"));
  EXPECT_TRUE(device_->waitFor("advertising", 2));
  expectUseful();
  expectOrderlyEnd();
  EXPECT_EQ(device_->count("connected"), 1U);
  for (const support::OutputLine& line : bridge_->lines()) {
    EXPECT_FALSE(line.text.starts_with(row.untold)) << line.bytes;
  }
}

// No message depends on an unsubscription, so here only the messages of sent values may come.
using UnsubscriptionFaultTest = FaultBench;

TEST_F(UnsubscriptionFaultTest, GoneInTheMiddle) {
  stack_.start(2);
  device_ = std::make_unique<LabDevice>(
      folder_, "hci1", "fenwix", std::vector<std::string>{"--fault", "drop-at=unsubscribe:3A87"});
  bridge_ = &startBridge();
  ASSERT_TRUE(bridge_->waitForMessage("C;5;0;120034;2;260;3;7;"));
  EXPECT_TRUE(bridge_->writeLine("FX_startRaw"));
  ASSERT_TRUE(bridge_->waitFor(
      [](const support::OutputLine& line) { return line.text.starts_with("PR1;"); }));
  EXPECT_TRUE(bridge_->writeLine("FX_stopRaw"));
  ASSERT_TRUE(bridge_->waitForLog("cde : stop raw"));
  const std::size_t before = bridge_->lines().size();
  EXPECT_TRUE(device_->waitFor("disconnected"));
  EXPECT_TRUE(device_->waitFor("advertising", 2));
  expectUseful();
  expectOrderlyEnd();
  EXPECT_EQ(device_->count("connected"), 1U);
  std::vector<std::string> more;
  for (std::size_t place = before; place < bridge_->lines().size(); ++place) {
    const std::string& text = bridge_->lines()[place].text;
    if (!text.starts_with("P1;") && !text.starts_with("P2;") && !text.starts_with("PR1;")) {
      more.push_back(text);
    }
  }
  EXPECT_EQ(more,
            (std::vector<std::string>{"commande recue non traitee : still there", "cde : kill"}));
}

// The host asks for far more writes than the device can carry out; those that wait take some 200
// bytes each.
using ManyRequestFaultTest = FaultBench;

TEST_F(ManyRequestFaultTest, WritesWithoutPauseWaitForTheDevice) {
  constexpr int kWrites = 20'000;
  stack_.start(2);
  device_ = std::make_unique<LabDevice>(folder_, "hci1", "fenwix");
  bridge_ = &startBridge();
  ASSERT_TRUE(bridge_->waitForMessage("C;5;0;120034;2;260;3;7;"));
  std::string commands;
  std::vector<std::string> expected;
  constexpr char kDigits[] = "0123456789ABCDEF";
  for (int i = 0; i < kWrites; ++i) {
    const unsigned byte = static_cast<unsigned>(i) % 256;
    commands += "FX_cmdWriteByte 7 " + std::to_string(byte) + "\n";
    expected.push_back(std::string("wrote 3A93 070100") + kDigits[byte / 16] + kDigits[byte % 16]);
  }
  EXPECT_TRUE(bridge_->write(commands, 300s));
  expectEcho("the last one");
  EXPECT_EQ(std::ranges::count_if(bridge_->lines(),
                                  [](const support::OutputLine& line) {
                                    return line.isLog("cde : Fenwix Cmd Write Byte");
                                  }),
            kWrites);
  EXPECT_TRUE(device_->waitFor("wrote 3A93 ", 1000, 60s));
  EXPECT_LT(largestMemory(bridge_->id()), memoryBound_ + (std::size_t{8} << 20));
  expectOrderlyEnd();
  const std::vector<std::string> written = device_->entries("wrote 3A93 ");
  expected.resize(std::min(expected.size(), written.size()));
  EXPECT_EQ(written, expected);
}

INSTANTIATE_TEST_SUITE_P(
    Fault, RequestFaultTest,
    ::testing::Values(
        Interruption{"Read", "fenwix", "drop-at=read:2A25", "", "C;5;0;"},
        Interruption{"Subscription", "tramsel",
                     "drop-at=subscribe:EF680408-9B35-4933-9B10-52FFA9740042", "", "B;"},
        Interruption{"ReportedSubscription", "fenwix", "drop-at=subscribe:3A93", "",
                     "didUpdateNotificationStateFor "},
        Interruption{"Write", "fenwix", "drop-at=write:3A93", "FX_getJson", "PJSON;"}),
    [](const auto& chosen) { return chosen.param.name; });

}  // namespace
}  // namespace stack
