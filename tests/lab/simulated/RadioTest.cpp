// The radio, names, appearance and connections.
#include "tests/lab/simulated/SimulatedTest.h"

namespace simulated_test {

using Radio = SimulatedTest;

TEST_F(Radio, MayBeInAnyStateFromTheStart) {
  for (const int state : {0, 1, 2, 3, 4}) {
    air.setState(static_cast<CBManagerState>(state));
    bridge.words.clear();
    bridge.manager.reset();
    run();
    EXPECT_EQ(bridge.words, Words{"state " + std::to_string(state)});
  }
}

TEST_F(Radio, MayTakeItsTimeToBeKnown) {
  air.setFirstStateDelay(2s);
  run(1999ms);
  EXPECT_TRUE(bridge.words.empty());
  run();
  EXPECT_EQ(bridge.words.front(), "state 5");
}

TEST_F(Radio, MayNeverBeKnown) {
  air.setFirstStateDelay(kNever);
  air.at(1s, [&] { air.setState(CBManagerState::poweredOff); });
  run(1h);
  EXPECT_TRUE(bridge.words.empty());
}

TEST_F(Radio, ThatIsSwitchedOffEndsTheLinks) {
  run();
  ASSERT_TRUE(device.isConnected());
  air.after(1s, [&] { air.setState(CBManagerState::poweredOff); });
  run(2s);
  EXPECT_EQ(bridge.words.back(), "state 4");
  EXPECT_FALSE(device.isConnected());
}

TEST_F(Radio, ResetLetsAPendingConnectionRequestGoOn) {
  device.connectDelay = 3s;
  air.at(1s, [&] { air.setState(CBManagerState::resetting); });
  air.at(2s, [&] { air.setState(CBManagerState::poweredOn); });
  run(4s);
  EXPECT_FALSE(device.isConnected());
  run(2s);
  EXPECT_TRUE(device.isConnected());
}

TEST_F(Radio, HearsANameThatComesLate) {
  bridge.connects = false;
  device.setName(std::nullopt);
  air.at(1s, [&] { device.setName("Probe"); });
  air.at(2s, [&] { device.setName("Other"); });
  run(3s);
  EXPECT_EQ(bridge.words, (Words{"state 5", "found", "found Probe"}));
}

TEST_F(Radio, HearsANameThatConnectingBrings) {
  device.setName(std::nullopt);
  device.nameWhenConnected = "Probe";
  run();
  EXPECT_EQ(bridge.words[1], "found");
  EXPECT_EQ(bridge.words[2], "connected");
  EXPECT_EQ(bridge.peripheral->name(), "Probe");
  EXPECT_NE(std::find(bridge.words.begin(), bridge.words.end(), "found Probe"), bridge.words.end());
}

TEST_F(Radio, HearsADeviceWhenItAdvertises) {
  device.vanish();
  device.advertisingDelay = 500ms;
  air.at(1s, [&] { device.appear(); });
  run(1499ms);
  EXPECT_EQ(bridge.words, Words{"state 5"});
  run();
  EXPECT_EQ(bridge.words[1], "found Probe");
}

TEST_F(Radio, ConnectsAsSlowlyAsTheDeviceDoes) {
  device.connectDelay = 40s;
  run(39s);
  EXPECT_FALSE(device.isConnected());
  run(1s);
  EXPECT_TRUE(device.isConnected());
}

TEST_F(Radio, LeavesAConnectionPendingThatIsNotAccepted) {
  device.setConnectable(false);
  run(1h);
  EXPECT_EQ(bridge.words, (Words{"state 5", "found Probe"}));
  device.setConnectable(true);
  run();
  EXPECT_EQ(bridge.words[2], "connected");
}

TEST_F(Radio, TriesAgainAfterFailedAttemptsToConnect) {
  int refused = 0;
  device.refusesLink = [&] { return ++refused <= 3; };
  run(2999ms);
  EXPECT_FALSE(device.isConnected());
  run();
  EXPECT_TRUE(device.isConnected());
  EXPECT_EQ(refused, 4);
}

TEST_F(Radio, DropsAnAttemptToADeviceThatVanishes) {
  device.connectDelay = 2s;
  air.at(1s, [&] { device.vanish(); });
  air.at(10s, [&] { device.appear(); });
  run(11s);
  EXPECT_FALSE(device.isConnected());
  run(1s);
  EXPECT_TRUE(device.isConnected());
}

TEST_F(Radio, ReportsNothingToAManagerThatIsGone) {
  device.connectDelay = 1s;
  run();
  bridge.manager.reset();
  bridge.words.clear();
  bridge.run(10s);
  EXPECT_TRUE(bridge.words.empty());
  EXPECT_FALSE(device.isConnected());
}

}  // namespace simulated_test
