#include "BluezTest.h"

namespace bluez_tests {
namespace {

using namespace std::chrono_literals;

class BluezConnect : public BluezTest {
 protected:
  // Keeps every Connect call unanswered.
  void holdConnects() {
    bluez->on(kDevice, "Connect",
              [this](OwnedMessage call) { pending.push_back(std::move(call)); });
  }

  std::vector<OwnedMessage> pending;
};

TEST_F(BluezConnect, BelievesThePropertyAndNotTheReply) {
  discover();
  manager->connect(peripheral);
  pass(1s);
  ASSERT_TRUE(waitUntil([&] { return bluez->count(kDevice, "Connect") == 2; }));
  EXPECT_EQ(connections, 0U);
  bluez->change(kDevice, kDeviceInterface, {{"Connected", true}});
  EXPECT_TRUE(waitUntil([&] { return connections == 1; }));
}

TEST_F(BluezConnect, FindsALinkThatBluezDidNotSignal) {
  discover();
  bluez->on(kDevice, "Connect", [&](OwnedMessage call) {
    bluez->objects[kDevice][kDeviceInterface]["Connected"] = true;
    bluez->reply(call);
  });
  manager->connect(peripheral);
  EXPECT_TRUE(waitUntil([&] { return connections == 1; }));
}

TEST_F(BluezConnect, IsTriedAgainAfterAFailure) {
  discover();
  int tries = 0;
  bluez->on(kDevice, "Connect", [&](OwnedMessage call) {
    if (++tries < 3) {
      return bluez->refuse(call, "org.bluez.Error.Failed", "le-connection-abort-by-local");
    }
    bluez->change(kDevice, kDeviceInterface, {{"Connected", true}});
    bluez->reply(call);
  });
  manager->connect(peripheral);
  pass(1s);
  pass(1s);
  EXPECT_TRUE(waitUntil([&] { return connections == 1; }));
  EXPECT_EQ(tries, 3);
}

TEST_F(BluezConnect, HasOneAttemptUnderWayAtMost) {
  discover();
  holdConnects();
  manager->connect(peripheral);
  manager->connect(peripheral);
  settle();
  bluez->change(kDevice, kDeviceInterface, {{"RSSI", std::int16_t{-60}}});
  settle();
  EXPECT_EQ(pending.size(), 1U);
}

TEST_F(BluezConnect, GoesOnWithADeviceThatBluezForgotMeanwhile) {
  discover();
  holdConnects();
  manager->connect(peripheral);
  manager->stopScan();
  ASSERT_TRUE(waitUntil([&] { return pending.size() == 1; }));
  bluez->remove(kDevice);
  settle();
  EXPECT_EQ(bluez->count(kAdapter, "StopDiscovery"), 0U);

  bluez->add(kDevice, device("Tramsel-1"));
  ASSERT_TRUE(waitUntil([&] { return pending.size() == 2; }));
  bluez->change(kDevice, kDeviceInterface, {{"Connected", true}});
  EXPECT_TRUE(waitUntil([&] { return connections == 1; }));
  EXPECT_TRUE(waitUntil([&] { return bluez->count(kAdapter, "StopDiscovery") == 1; }));
}

TEST_F(BluezConnect, IsReportedAtOnceForALinkThatIsUp) {
  bluez->objects[kDevice] = device("Tramsel-1", true);
  startPoweredOn();
  manager->scanForPeripherals();
  ASSERT_TRUE(waitUntil([&] { return reports.size() == 1; }));
  manager->connect(reports[0]);
  EXPECT_EQ(connections, 0U);
  EXPECT_TRUE(waitUntil([&] { return connections == 1; }));
  EXPECT_EQ(bluez->count(kDevice, "Connect"), 0U);
}

TEST_F(BluezConnect, StandsWhenBluezGoesAndComesBack) {
  discover();
  holdConnects();
  manager->connect(peripheral);
  ASSERT_TRUE(waitUntil([&] { return pending.size() == 1; }));
  pending.clear();
  bluez.reset();
  ASSERT_TRUE(waitUntil([&] { return states.size() == 2; }));
  bluez = std::make_unique<ScriptedBluez>(bus);
  bluez->objects[kAdapter] = adapter(true);
  ASSERT_TRUE(waitUntil([&] { return bluez->count(kAdapter, "StartDiscovery") == 1; }));
  bluez->add(kDevice, device("Tramsel-1"));
  ASSERT_TRUE(waitUntil([&] { return bluez->count(kDevice, "Connect") == 1; }));
  bluez->change(kDevice, kDeviceInterface, {{"Connected", true}});
  EXPECT_TRUE(waitUntil([&] { return connections == 1; }));
}

TEST_F(BluezConnect, OutlivesItsManager) {
  discover();
  holdConnects();
  manager->connect(peripheral);
  ASSERT_TRUE(waitUntil([&] { return pending.size() == 1; }));
  manager.reset();
  settle();
  platform.reset();
  EXPECT_EQ(peripheral->name(), "Tramsel-1");
  peripheral->discoverServices(std::vector{kService});
  peripheral.reset();
}

}  // namespace
}  // namespace bluez_tests
