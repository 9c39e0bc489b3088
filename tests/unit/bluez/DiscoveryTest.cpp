#include "BluezTest.h"

namespace bluez_tests {
namespace {

using platform::CBManagerState;
using namespace std::chrono_literals;

// Discovery that is started or stopped while bluetoothd has not answered the call before.
class BluezDiscovery : public BluezTest {
 protected:
  void SetUp() override { startPoweredOn(); }

  // Keeps every call of this method unanswered.
  void hold(const std::string& member) {
    bluez->on(kAdapter, member, [this](OwnedMessage call) { held.push_back(std::move(call)); });
  }
  void answerHeld() {
    for (const OwnedMessage& call : held) bluez->reply(call);
    held.clear();
  }
  void answerAtOnce(const std::string& member) {
    bluez->on(kAdapter, member, [this](OwnedMessage call) { bluez->reply(call); });
  }
  void refuseOnce(const std::string& member) {
    bluez->on(kAdapter, member, [this, member](OwnedMessage call) {
      answerAtOnce(member);
      bluez->refuse(call, "org.bluez.Error.NotReady", "Resource Not Ready");
    });
  }

  std::size_t asked(const std::string& member) const { return bluez->count(kAdapter, member); }
  bool waitFor(const std::string& member, std::size_t times) {
    return waitUntil([&] { return asked(member) == times; });
  }

  void scan() {
    manager->scanForPeripherals();
    settle();
  }
  void losePowerForAMoment() {
    const std::size_t before = states.size();
    bluez->change(kAdapter, kAdapterInterface, {{"Powered", false}});
    bluez->change(kAdapter, kAdapterInterface, {{"Powered", true}});
    ASSERT_TRUE(waitUntil([&] { return states.size() == before + 2; }));
    ASSERT_EQ(states.back(), CBManagerState::poweredOn);
  }

  std::vector<OwnedMessage> held;
};

TEST_F(BluezDiscovery, IsOfLowEnergyDevices) {
  std::string key;
  std::string transport;
  bluez->on(kAdapter, "SetDiscoveryFilter", [&](OwnedMessage call) {
    const char* name = nullptr;
    const char* value = nullptr;
    sd_bus_message_read(call.get(), "a{sv}", 1, &name, "s", &value);
    key = name != nullptr ? name : "";
    transport = value != nullptr ? value : "";
    bluez->reply(call);
  });
  scan();
  EXPECT_EQ(key, "Transport");
  EXPECT_EQ(transport, "le");
}

TEST_F(BluezDiscovery, IsNotStartedWithoutItsFilter) {
  refuseOnce("SetDiscoveryFilter");
  scan();
  EXPECT_EQ(asked("SetDiscoveryFilter"), 1U);
  EXPECT_EQ(asked("StartDiscovery"), 0U);
  pass(1s);
  EXPECT_TRUE(waitFor("StartDiscovery", 1));
  EXPECT_EQ(asked("SetDiscoveryFilter"), 2U);
}

TEST_F(BluezDiscovery, ThatCannotStartIsTriedAgainAfterAPause) {
  refuseOnce("StartDiscovery");
  scan();
  EXPECT_EQ(asked("SetDiscoveryFilter"), 1U);
  pass(1s);
  EXPECT_TRUE(waitFor("StartDiscovery", 2));
}

TEST_F(BluezDiscovery, IsSetUpOnlyOnceHoweverOftenAScanIsAskedFor) {
  hold("SetDiscoveryFilter");
  scan();
  scan();
  EXPECT_EQ(asked("SetDiscoveryFilter"), 1U);
  answerHeld();
  EXPECT_TRUE(waitFor("StartDiscovery", 1));
}

TEST_F(BluezDiscovery, IsStoppedWhenTheScanEndsWhileItStarts) {
  hold("StartDiscovery");
  scan();
  const std::size_t snapshots = bluez->count("/", "GetManagedObjects");
  manager->stopScan();
  settle();
  EXPECT_EQ(asked("StopDiscovery"), 0U);
  answerHeld();
  EXPECT_TRUE(waitFor("StopDiscovery", 1));
  EXPECT_EQ(bluez->count("/", "GetManagedObjects"), snapshots);
}

TEST_F(BluezDiscovery, IsStartedAgainWhenAScanBeginsWhileItStops) {
  hold("StopDiscovery");
  scan();
  manager->stopScan();
  ASSERT_TRUE(waitFor("StopDiscovery", 1));
  scan();
  EXPECT_EQ(asked("SetDiscoveryFilter"), 1U);
  answerHeld();
  EXPECT_TRUE(waitFor("StartDiscovery", 2));
  EXPECT_EQ(asked("SetDiscoveryFilter"), 2U);
}

TEST_F(BluezDiscovery, EndsWithItsManager) {
  scan();
  manager.reset();
  EXPECT_TRUE(waitFor("StopDiscovery", 1));
}

TEST_F(BluezDiscovery, EndsWithItsManagerWhileItStarts) {
  hold("StartDiscovery");
  scan();
  ASSERT_EQ(asked("StartDiscovery"), 1U);
  manager.reset();
  EXPECT_TRUE(waitFor("StopDiscovery", 1));
}

TEST_F(BluezDiscovery, IsNotStoppedWithAManagerThatHasNotStartedIt) {
  manager.reset();
  settle();
  EXPECT_EQ(asked("StopDiscovery"), 0U);
}

// BlueZ ends discovery with the power, and still answers the calls made before.
TEST_F(BluezDiscovery, WhoseStartIsAnsweredAfterThePowerWasLostCountsAsOff) {
  hold("StartDiscovery");
  scan();
  losePowerForAMoment();
  answerHeld();
  settle();
  EXPECT_EQ(asked("StopDiscovery"), 0U);
  answerAtOnce("StartDiscovery");
  scan();
  EXPECT_EQ(asked("SetDiscoveryFilter"), 2U);
  EXPECT_EQ(asked("StartDiscovery"), 2U);
}

TEST_F(BluezDiscovery, ThatWasOnBeforeThePowerWasLostIsStartedAnew) {
  scan();
  losePowerForAMoment();
  scan();
  EXPECT_EQ(asked("StartDiscovery"), 2U);
}

TEST_F(BluezDiscovery, DoesNotGoOnWithAPauseThatBeganBeforeThePowerWasLost) {
  refuseOnce("StartDiscovery");
  scan();
  losePowerForAMoment();
  hold("SetDiscoveryFilter");
  scan();
  pass(1s);
  settle();
  EXPECT_EQ(asked("SetDiscoveryFilter"), 2U);
}

}  // namespace
}  // namespace bluez_tests
