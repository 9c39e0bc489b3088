#include "BluezTest.h"

namespace bluez_tests {
namespace {

using platform::CBManagerState;
using namespace std::chrono_literals;

// Adapters that come, go and come back, and which of them is used.
class BluezAdapter : public BluezTest {
 protected:
  static constexpr char kOtherAdapter[] = "/org/bluez/hci1";

  void restartBluez() {
    const std::size_t before = states.size();
    bluez.reset();
    ASSERT_TRUE(waitUntil([&] { return states.size() == before + 1; }));
    ASSERT_EQ(states.back(), CBManagerState::resetting);
    bluez = std::make_unique<ScriptedBluez>(bus);
  }
  void setPower(const std::string& path, bool isPowered) {
    bluez->change(path, kAdapterInterface, {{"Powered", isPowered}});
  }
  void scanAndExpectDiscoveryOn(const std::string& path) {
    manager->scanForPeripherals();
    EXPECT_TRUE(waitUntil([&] { return bluez->count(path, "StartDiscovery") == 1; })) << path;
  }
  bool isNow(CBManagerState state) {
    return waitUntil([&] { return !states.empty() && states.back() == state; });
  }
};

TEST_F(BluezAdapter, ThatLosesItsPowerIsReportedInTimeAlsoWhenAnotherAppears) {
  startPoweredOn();
  setPower(kAdapter, false);
  pass(250ms);
  bluez->add(kOtherAdapter, adapter(false));
  settle();
  EXPECT_TRUE(isNow(CBManagerState::poweredOff));
}

TEST_F(BluezAdapter, ThatHasItsPowerBackStaysPoweredOn) {
  startPoweredOn();
  setPower(kAdapter, false);
  setPower(kAdapter, true);
  ASSERT_TRUE(waitUntil([&] { return states.size() == 3; }));
  pass(1s);
  settle();
  EXPECT_EQ(states.size(), 3U);
}

TEST_F(BluezAdapter, ThatHasItsPowerBackDoesNotScanUnasked) {
  startPoweredOn();
  scanAndExpectDiscoveryOn(kAdapter);
  setPower(kAdapter, false);
  setPower(kAdapter, true);
  ASSERT_TRUE(waitUntil([&] { return states.size() == 3; }));
  settle();
  EXPECT_EQ(bluez->count(kAdapter, "StartDiscovery"), 1U);
}

TEST_F(BluezAdapter, IsNotScannedWithBeforeItIsPoweredOn) {
  bluez->objects[kAdapter] = adapter(false);
  start();
  ASSERT_TRUE(isNow(CBManagerState::poweredOff));
  manager->scanForPeripherals();
  setPower(kAdapter, true);
  ASSERT_TRUE(isNow(CBManagerState::poweredOn));
  settle();
  EXPECT_EQ(bluez->count(kAdapter, "StartDiscovery"), 0U);
}

TEST_F(BluezAdapter, WithoutThePropertyPoweredIsPoweredOff) {
  bluez->objects[kAdapter] = {{kAdapterInterface, {{"Address", std::string("00:00")}}}};
  start();
  EXPECT_TRUE(isNow(CBManagerState::poweredOff));
}

TEST_F(BluezAdapter, IsGoneWhenTheListOfObjectsLacksIt) {
  startPoweredOn();
  scanAndExpectDiscoveryOn(kAdapter);
  settle();
  bluez->objects.erase(kAdapter);
  manager->scanForPeripherals();
  EXPECT_TRUE(isNow(CBManagerState::unsupported));
}

TEST_F(BluezAdapter, ThatWasUsedIsUsedAtOnceWhenBluezComesBack) {
  startPoweredOn();
  restartBluez();
  bluez->add(kAdapter, adapter(true));
  settle();
  EXPECT_EQ(states.back(), CBManagerState::poweredOn);
}

TEST_F(BluezAdapter, ThatWasUsedIsPreferredWhenBluezComesBack) {
  bluez->objects[kAdapter] = adapter(false);
  bluez->objects[kOtherAdapter] = adapter(true);
  start();
  ASSERT_TRUE(isNow(CBManagerState::poweredOn));
  restartBluez();
  bluez->objects[kAdapter] = adapter(true);
  bluez->objects[kOtherAdapter] = adapter(true);
  ASSERT_TRUE(isNow(CBManagerState::poweredOn));
  scanAndExpectDiscoveryOn(kOtherAdapter);
}

TEST_F(BluezAdapter, ThatIsPoweredIsPreferredToOneThatWasUsed) {
  startPoweredOn();
  restartBluez();
  bluez->objects[kAdapter] = adapter(false);
  bluez->objects[kOtherAdapter] = adapter(true);
  settle();
  pass(5s);
  ASSERT_TRUE(isNow(CBManagerState::poweredOn));
  scanAndExpectDiscoveryOn(kOtherAdapter);
}

TEST_F(BluezAdapter, IsNotWaitedForAnyMoreOnceOneWasPoweredOn) {
  startPoweredOn();
  restartBluez();
  bluez->objects[kAdapter] = adapter(true);
  ASSERT_TRUE(isNow(CBManagerState::poweredOn));
  setPower(kAdapter, false);
  pass(300ms);
  ASSERT_TRUE(isNow(CBManagerState::poweredOff));
  bluez->add(kOtherAdapter, adapter(true));
  settle();
  EXPECT_EQ(states.back(), CBManagerState::poweredOn);
}

TEST_F(BluezAdapter, IsResettingForAsLongAsBluezIsAway) {
  startPoweredOn();
  restartBluez();
  settle();
  bluez.reset();
  settle();
  const std::vector<CBManagerState> before = states;
  pass(6s);
  settle();
  EXPECT_EQ(states, before);
}

TEST_F(BluezAdapter, IsNotWaitedForWhenTheBusIsLost) {
  startPoweredOn();
  restartBluez();
  bluez->add(kAdapter, adapter(false));
  settle();
  bus.hangUp();
  ASSERT_TRUE(isNow(CBManagerState::unsupported));
  pass(6s);
  settle();
  EXPECT_EQ(states.back(), CBManagerState::unsupported);
}

}  // namespace
}  // namespace bluez_tests
