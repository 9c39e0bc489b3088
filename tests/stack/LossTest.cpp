// What a running bridge relies on goes away: the radio, bluetoothd, the bridge itself.
#include <csignal>

#include "StackTest.h"

namespace stack {
namespace {

class LossTest : public StackTest {
 protected:
  // A bridge in the middle of a stream.
  void startStream() {
    stack_.start(2);
    tramsel_ = startTramsel({"--rate", "200"});
    bridge_ = &startBridge();
    EXPECT_TRUE(waitForMotions(*bridge_, 20));
  }

  std::unique_ptr<LabDevice> tramsel_;
  support::BridgeProcess* bridge_ = nullptr;
};

TEST_F(LossTest, RadioPoweredOffWhileStreaming) {
  startStream();
  stack_.bluez().setPowered("hci0", false);
  expectUnusable(*bridge_, "poweredOff", "Z;2;");
}

TEST_F(LossTest, RadioRemovedWhileStreaming) {
  startStream();
  stack_.removeControllers();
  expectUnusable(*bridge_, "unsupported", "Z;3;");
}

TEST_F(LossTest, BluetoothdRestartedWhileStreaming) {
  startStream();
  stack_.killBluetoothd();
  EXPECT_TRUE(bridge_->waitForLog(stateLine("resetting")));
  stack_.startBluetoothd();
  EXPECT_TRUE(bridge_->waitForLog(stateLine("poweredOn")));
  EXPECT_TRUE(waitForScan());
  EXPECT_TRUE(bridge_->writeLine("kill"));
  EXPECT_EQ(bridge_->waitForEnd(), support::ProcessEnd::status(0));
}

// The scan after the restart finds what the one before it did not.
TEST_F(LossTest, BluetoothdRestartedBeforeTheDeviceCame) {
  stack_.start(2);
  tramsel_ = startTramsel({"--rate", "200", "--control", "advertise off"});
  bridge_ = &startBridge();
  EXPECT_TRUE(waitForScan());
  stack_.killBluetoothd();
  EXPECT_TRUE(bridge_->waitForLog(stateLine("resetting")));
  stack_.startBluetoothd();
  EXPECT_TRUE(bridge_->waitForLog(stateLine("poweredOn")));
  tramsel_->control("advertise on");
  EXPECT_TRUE(waitForMotions(*bridge_, 20));
}

TEST_F(LossTest, KillIsObeyedWithoutBluetoothd) {
  startStream();
  stack_.killBluetoothd();
  EXPECT_TRUE(bridge_->waitForLog(stateLine("resetting")));
  EXPECT_TRUE(bridge_->writeLine("kill"));
  EXPECT_EQ(bridge_->waitForEnd(), support::ProcessEnd::status(0));
}

// The link outlives a bridge that is killed, and a connected device does not advertise.
TEST_F(LossTest, KilledBridgeFindsTheConnectedDeviceAgain) {
  startStream();
  bridge_->sendSignal(SIGKILL);
  EXPECT_EQ(bridge_->waitForEnd(), support::ProcessEnd::signal(SIGKILL));
  EXPECT_TRUE(tramsel_->waitFor(std::string("unsubscribed ") + motionUuid));

  bridge_ = &startBridge();
  EXPECT_TRUE(bridge_->waitForMessage("C;3;0;"));
  EXPECT_TRUE(waitForMotions(*bridge_, 20));
  EXPECT_EQ(tramsel_->count("connected"), 1U);
}

TEST_F(LossTest, EndedLinkIsNotReported) {
  startStream();
  tramsel_->control("drop");
  EXPECT_TRUE(tramsel_->waitFor("disconnected"));
  EXPECT_TRUE(stack_.bluez().waitUntil([this] {
    const auto devices = stack_.bluez().devices();
    return devices.empty() || !devices.front().connected;
  }));
  EXPECT_TRUE(bridge_->writeLine("kill"));
  EXPECT_EQ(bridge_->waitForEnd(), support::ProcessEnd::status(0));
  for (const support::OutputLine& line : bridge_->lines()) {
    EXPECT_FALSE(line.isLog(stateLine("resetting")));
  }
  EXPECT_EQ(bridge_->standardError(), "");
}

}  // namespace
}  // namespace stack
