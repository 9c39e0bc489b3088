#include "BluezTest.h"

namespace bluez_tests {
namespace {

using platform::CBManagerState;

class BluezStack : public BluezTest {
 protected:
  void expectNoChange() {
    settle();
    EXPECT_EQ(states, std::vector{CBManagerState::poweredOn});
  }
};

TEST_F(BluezStack, IsNotTakenAwayByOthers) {
  startPoweredOn();
  signalFromAnother("/org/freedesktop/DBus", "org.freedesktop.DBus", "NameOwnerChanged", "sss",
                    "org.bluez", ":1.0", "");
  expectNoChange();
}

TEST_F(BluezStack, DoesNotLoseItsObjectsByOthers) {
  startPoweredOn();
  signalFromAnother("/", "org.freedesktop.DBus.ObjectManager", "InterfacesRemoved", "oas", kAdapter,
                    1, kAdapterInterface);
  expectNoChange();
}

TEST_F(BluezStack, IsNotGivenObjectsByOthers) {
  startPoweredOn();
  manager->scanForPeripherals();
  settle();
  signalFromAnother("/", "org.freedesktop.DBus.ObjectManager", "InterfacesAdded", "oa{sa{sv}}",
                    kDevice, 1, kDeviceInterface, 1, "RSSI", "n", -40);
  expectNoChange();
  EXPECT_TRUE(reports.empty());
}

TEST_F(BluezStack, ThatGoesWithoutHavingToldItsObjectsIsGoneAndNotUnusable) {
  std::vector<OwnedMessage> held;
  bluez->on("/", "GetManagedObjects", [&](OwnedMessage call) { held.push_back(std::move(call)); });
  start();
  ASSERT_TRUE(waitUntil([&] { return held.size() == 1; }));
  held.clear();
  bluez.reset();
  ASSERT_TRUE(waitUntil([&] { return !states.empty(); }));
  settle();
  EXPECT_EQ(states, std::vector{CBManagerState::resetting});
}

TEST_F(BluezStack, ThatGivesNonsenseForItsObjectsIsUnusable) {
  bluez->on("/", "GetManagedObjects", [&](OwnedMessage call) { bluez->reply(call); });
  start();
  ASSERT_TRUE(waitUntil([&] { return !states.empty(); }));
  EXPECT_EQ(states, std::vector{CBManagerState::unsupported});
}

}  // namespace
}  // namespace bluez_tests
