#include "BluezTest.h"

namespace bluez_tests {
namespace {

using namespace std::chrono_literals;

using platform::CBManagerState;

class BluezState : public BluezTest {
 protected:
  void expectFirst(CBManagerState state) {
    start();
    EXPECT_EQ(manager->state(), CBManagerState::unknown);
    ASSERT_TRUE(waitUntil([&] { return !states.empty(); }));
    settle();
    EXPECT_EQ(states, std::vector{state});
  }

  // Sets what happens between the call of GetManagedObjects and its answer.
  void beforeTheAnswer(std::function<void()> act) {
    bluez->on("/", "GetManagedObjects", [this, act = std::move(act)](OwnedMessage call) {
      act();
      bluez->replyObjects(call);
    });
  }
};

TEST_F(BluezState, WithoutABusIsUnsupported) {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): one thread
  setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent", 1);
  startPlatform();
  expectFirst(CBManagerState::unsupported);
}

TEST_F(BluezState, WithoutBluezIsUnsupported) {
  bluez.reset();
  expectFirst(CBManagerState::unsupported);
}

TEST_F(BluezState, OnABusThatDoesNotAnswerIsUnsupported) {
  startPlatform();
  start();
  settle();
  EXPECT_TRUE(states.empty());
  leap(10s);
  EXPECT_TRUE(waitUntil([&] { return states == std::vector{CBManagerState::unsupported}; }));
}

TEST_F(BluezState, WithoutAnAdapterIsUnsupported) {
  expectFirst(CBManagerState::unsupported);
}

TEST_F(BluezState, OfAnUnpoweredAdapterIsPoweredOff) {
  bluez->objects[kAdapter] = adapter(false);
  expectFirst(CBManagerState::poweredOff);
}

TEST_F(BluezState, IsUnauthorizedWhenBluezMayNotBeAsked) {
  bluez->on("/", "GetManagedObjects",
            [&](OwnedMessage call) { bluez->refuse(call, SD_BUS_ERROR_ACCESS_DENIED, "No"); });
  expectFirst(CBManagerState::unauthorized);
}

TEST_F(BluezState, IsUnauthorizedWhenDiscoveryIsDenied) {
  startPoweredOn();
  bluez->on(kAdapter, "StartDiscovery",
            [&](OwnedMessage call) { bluez->refuse(call, SD_BUS_ERROR_ACCESS_DENIED, "No"); });
  manager->scanForPeripherals();
  ASSERT_TRUE(waitUntil([&] { return states.size() == 2; }));
  EXPECT_EQ(states.back(), CBManagerState::unauthorized);
}

TEST_F(BluezState, IsThatOfTheFirstPoweredAdapterInPathOrder) {
  bluez->objects["/org/bluez/hci10"] = adapter(true);
  bluez->objects["/org/bluez/hci2"] = adapter(true);
  bluez->objects[kAdapter] = adapter(false);
  expectFirst(CBManagerState::poweredOn);
  manager->scanForPeripherals();
  EXPECT_TRUE(waitUntil([&] { return bluez->count("/org/bluez/hci2", "StartDiscovery") == 1; }));
}

// BlueZ signals this when the last program that discovered is gone. If a host ends the bridge and
// starts it again at once, the signal comes between the new bridge's first call and its answer.
TEST_F(BluezState, IsNotConcludedFromAChangeBeforeTheFirstAnswer) {
  bluez->objects[kAdapter] = adapter(true);
  beforeTheAnswer([&] { bluez->change(kAdapter, kAdapterInterface, {{"Discovering", false}}); });
  expectFirst(CBManagerState::poweredOn);
}

TEST_F(BluezState, IsNotConcludedFromAnAdapterThatGoesBeforeTheFirstAnswer) {
  bluez->objects[kAdapter] = adapter(true);
  bluez->objects["/org/bluez/hci1"] = adapter(true);
  beforeTheAnswer([&] { bluez->remove("/org/bluez/hci1"); });
  expectFirst(CBManagerState::poweredOn);
}

TEST_F(BluezState, IsNotConcludedFromAnAdapterThatComesBeforeTheFirstAnswer) {
  bluez->objects[kAdapter] = adapter(true);
  beforeTheAnswer([&] { bluez->add("/org/bluez/hci1", adapter(false)); });
  expectFirst(CBManagerState::poweredOn);
}

TEST_F(BluezState, IsOfTheFirstAdapterAlsoWhenAnotherIsSignalledBeforeTheFirstAnswer) {
  bluez->objects[kAdapter] = adapter(true);
  beforeTheAnswer([&] { bluez->add("/org/bluez/hci1", adapter(true)); });
  expectFirst(CBManagerState::poweredOn);
  manager->scanForPeripherals();
  EXPECT_TRUE(waitUntil([&] { return bluez->count(kAdapter, "StartDiscovery") == 1; }));
}

// The answer already contains a change that was signalled before it.
TEST_F(BluezState, IsThatOfTheAnswerWhenThePowerChangesBeforeIt) {
  bluez->objects[kAdapter] = adapter(true);
  beforeTheAnswer([&] {
    bluez->change(kAdapter, kAdapterInterface, {{"Powered", false}});
    bluez->change(kAdapter, kAdapterInterface, {{"Powered", true}});
  });
  expectFirst(CBManagerState::poweredOn);
}

TEST_F(BluezState, IsResettingWhenBluezEndsBeforeTheFirstAnswer) {
  bluez->on("/", "GetManagedObjects", [](OwnedMessage) {});
  start();
  ASSERT_TRUE(waitUntil([&] { return bluez->count("/", "GetManagedObjects") == 1; }));
  bluez.reset();
  ASSERT_TRUE(waitUntil([&] { return !states.empty(); }));
  bluez = std::make_unique<ScriptedBluez>(bus);
  bluez->objects[kAdapter] = adapter(true);
  beforeTheAnswer([&] { bluez->change(kAdapter, kAdapterInterface, {{"Discovering", false}}); });
  ASSERT_TRUE(waitUntil([&] { return states.size() == 2; }));
  settle();
  EXPECT_EQ(states, (std::vector{CBManagerState::resetting, CBManagerState::poweredOn}));
}

TEST_F(BluezState, IsNotConcludedFromAChangeOfAnAdapterThatIsNotKnown) {
  expectFirst(CBManagerState::unsupported);
  bluez->objects[kAdapter] = adapter(true);
  bluez->change(kAdapter, kAdapterInterface, {{"Discovering", false}});
  ASSERT_TRUE(waitUntil([&] { return states.size() == 2; }));
  EXPECT_EQ(states.back(), CBManagerState::poweredOn);
}

// If each change repeated the call, none would ever be answered while changes go on.
TEST_F(BluezState, IsAskedForOnceWhateverChangesMeanwhile) {
  expectFirst(CBManagerState::unsupported);
  OwnedMessage held;
  bluez->on("/", "GetManagedObjects", [&](OwnedMessage call) { held = std::move(call); });
  bluez->objects[kAdapter] = adapter(true);
  for (int i = 0; i < 5; ++i) {
    bluez->change(kAdapter, kAdapterInterface, {{"Alias", std::string("other")}});
    settle();
  }
  EXPECT_EQ(bluez->count("/", "GetManagedObjects"), 2U);
  bluez->replyObjects(held);
  ASSERT_TRUE(waitUntil([&] { return states.size() == 2; }));
  EXPECT_EQ(states.back(), CBManagerState::poweredOn);
}

TEST_F(BluezState, FollowsThePowerOfTheAdapterInUse) {
  bluez->objects["/org/bluez/hci1"] = adapter(true);
  startPoweredOn();
  bluez->change(kAdapter, kAdapterInterface, {{"Powered", false}});
  ASSERT_TRUE(waitUntil([&] { return states.size() == 2; }));
  EXPECT_EQ(states.back(), CBManagerState::poweredOff);
}

// So it is when a dongle is pulled out.
TEST_F(BluezState, IsUnsupportedWhenTheAdapterLosesItsPowerAndThenGoesAway) {
  startPoweredOn();
  bluez->change(kAdapter, kAdapterInterface, {{"Powered", false}});
  settle();
  bluez->remove(kAdapter);
  ASSERT_TRUE(waitUntil([&] { return states.size() == 2; }));
  EXPECT_EQ(states.back(), CBManagerState::unsupported);
}

// Scan and links have ended, however short the loss was.
TEST_F(BluezState, IsReportedAgainAfterALossOfPowerHoweverShort) {
  startPoweredOn();
  bluez->change(kAdapter, kAdapterInterface, {{"Powered", false}});
  bluez->change(kAdapter, kAdapterInterface, {{"Powered", true}});
  ASSERT_TRUE(waitUntil([&] { return states.size() == 3; }));
  EXPECT_EQ(states[1], CBManagerState::poweredOff);
  EXPECT_EQ(states[2], CBManagerState::poweredOn);
}

TEST_F(BluezState, WaitsForTheAdapterThatWasUsedBeforeBluezCameBack) {
  startPoweredOn();
  bluez.reset();
  ASSERT_TRUE(waitUntil([&] { return states.size() == 2; }));
  bluez = std::make_unique<ScriptedBluez>(bus);
  bluez->add("/org/bluez/hci1", adapter(true));
  settle();
  EXPECT_EQ(states.size(), 2U);
  bluez->add(kAdapter, adapter(true));
  ASSERT_TRUE(waitUntil([&] { return states.size() == 3; }));
  EXPECT_EQ(states.back(), CBManagerState::poweredOn);
  manager->scanForPeripherals();
  EXPECT_TRUE(waitUntil([&] { return bluez->count(kAdapter, "StartDiscovery") == 1; }));
}

TEST_F(BluezState, IsUnsupportedWhenTheAdapterGoesAway) {
  startPoweredOn();
  bluez->remove(kAdapter);
  ASSERT_TRUE(waitUntil([&] { return states.size() == 2; }));
  EXPECT_EQ(states.back(), CBManagerState::unsupported);
}

// So bluetoothd leaves when it is told to end.
TEST_F(BluezState, IsResettingWhenTheAdapterGoesAwayAndBluezAfterIt) {
  startPoweredOn();
  bluez->change(kAdapter, kAdapterInterface, {{"Powered", false}});
  settle();
  bluez->remove(kAdapter);
  settle();
  bluez.reset();
  ASSERT_TRUE(waitUntil([&] { return states.size() == 2; }));
  EXPECT_EQ(states.back(), CBManagerState::resetting);
  settle();
  pass(1s);
  settle();
  EXPECT_EQ(states.size(), 2U);
}

// Scan and links have ended.
TEST_F(BluezState, IsReportedAgainWhenTheAdapterGoesAwayAndComesBackHoweverSoon) {
  startPoweredOn();
  bluez->remove(kAdapter);
  bluez->add(kAdapter, adapter(true));
  ASSERT_TRUE(waitUntil([&] { return states.size() == 3; }));
  EXPECT_EQ(states[1], CBManagerState::unsupported);
  EXPECT_EQ(states[2], CBManagerState::poweredOn);
  bluez->change(kAdapter, kAdapterInterface, {{"Powered", false}});
  ASSERT_TRUE(waitUntil([&] { return states.size() == 4; }));
  EXPECT_EQ(states[3], CBManagerState::poweredOff);
}

TEST_F(BluezState, IsResettingWhileBluezIsAwayAndPoweredOnWhenItIsBack) {
  startPoweredOn();
  bluez.reset();
  ASSERT_TRUE(waitUntil([&] { return states.size() == 2; }));
  EXPECT_EQ(states.back(), CBManagerState::resetting);

  // As bluetoothd does it: the name, then the adapter, then its power.
  bluez = std::make_unique<ScriptedBluez>(bus);
  settle();
  bluez->add(kAdapter, adapter(false));
  settle();
  EXPECT_EQ(states.size(), 2U);
  bluez->change(kAdapter, kAdapterInterface, {{"Powered", true}});
  ASSERT_TRUE(waitUntil([&] { return states.size() == 3; }));
  EXPECT_EQ(states.back(), CBManagerState::poweredOn);
}

TEST_F(BluezState, IsPoweredOffWhenBluezComesBackAndStaysUnpowered) {
  startPoweredOn();
  bluez.reset();
  ASSERT_TRUE(waitUntil([&] { return states.size() == 2; }));
  bluez = std::make_unique<ScriptedBluez>(bus);
  bluez->add(kAdapter, adapter(false));
  pass(5s);
  ASSERT_TRUE(waitUntil([&] { return states.size() == 3; }));
  EXPECT_EQ(states.back(), CBManagerState::poweredOff);
}

TEST_F(BluezState, StaysResettingWhenBluezComesBackAndGoesAgain) {
  startPoweredOn();
  bluez.reset();
  ASSERT_TRUE(waitUntil([&] { return states.size() == 2; }));
  bluez = std::make_unique<ScriptedBluez>(bus);
  bluez->objects[kAdapter] = adapter(false);
  pass(2s);
  settle();
  bluez.reset();
  pass(4s);
  settle();
  EXPECT_EQ(states.back(), CBManagerState::resetting);
  EXPECT_EQ(states.size(), 2U);
}

TEST_F(BluezState, IsReportedInTimeAfterALossOfPowerHoweverOftenThatIsSignalled) {
  startPoweredOn();
  for (int i = 0; i < 20; ++i) {
    bluez->change(kAdapter, kAdapterInterface, {{"Powered", false}});
    settle();
  }
  ASSERT_EQ(states.size(), 2U);
  EXPECT_EQ(states.back(), CBManagerState::poweredOff);
}

TEST_F(BluezState, IsNotConcludedFromABluezThatIsBackAndDoesNotAnswerYet) {
  startPoweredOn();
  bluez.reset();
  ASSERT_TRUE(waitUntil([&] { return states.size() == 2; }));
  bluez = std::make_unique<ScriptedBluez>(bus);
  bluez->objects[kAdapter] = adapter(true);
  OwnedMessage held;
  bluez->on("/", "GetManagedObjects", [&](OwnedMessage call) { held = std::move(call); });
  pass(6s);
  settle();
  EXPECT_EQ(states.size(), 2U);
  ASSERT_TRUE(held);
  bluez->replyObjects(held);
  ASSERT_TRUE(waitUntil([&] { return states.size() == 3; }));
  EXPECT_EQ(states.back(), CBManagerState::poweredOn);
}

TEST_F(BluezState, IsUnsupportedForGoodWhenTheBusIsLost) {
  startPoweredOn();
  bluez.reset();
  bus.hangUp();
  ASSERT_TRUE(
      waitUntil([&] { return !states.empty() && states.back() == CBManagerState::unsupported; }));
  const std::size_t reported = states.size();
  settle();
  EXPECT_EQ(states.size(), reported);
}

TEST_F(BluezState, IgnoresSignalsOfOtherPrograms) {
  startPoweredOn();
  signalFromAnother(kAdapter, "org.freedesktop.DBus.Properties", "PropertiesChanged", "sa{sv}as",
                    kAdapterInterface, 1, "Powered", "b", 0, 0);
  settle();
  EXPECT_EQ(states.size(), 1U);
}

}  // namespace
}  // namespace bluez_tests
