#include "BluezTest.h"

namespace bluez_tests {
namespace {

using namespace std::chrono_literals;

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

TEST_F(BluezStack, ThatGoesBeforeItHasListedItsObjectsIsResetting) {
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

TEST_F(BluezStack, WithAMalformedListOfObjectsIsUnusable) {
  bluez->on("/", "GetManagedObjects", [&](OwnedMessage call) { bluez->reply(call); });
  start();
  ASSERT_TRUE(waitUntil([&] { return !states.empty(); }));
  EXPECT_EQ(states, std::vector{CBManagerState::unsupported});
}

// BlueZ does not run, and the bridge asks the bus to start it; the start may take 10 s.
class BluezStart : public BluezTest {
 protected:
  void SetUp() override {
    bluez.reset();
    bus.onBusCall = [this](const std::string& member, const OwnedMessage& call) {
      if (member != wanted_) return false;
      held.emplace_back(sd_bus_message_ref(call.get()));
      return true;
    };
  }

  // Leaves this call to the bus without an answer until deny().
  void hold(const std::string& member) {
    wanted_ = member;
    start();
    ASSERT_TRUE(waitUntil([&] { return !held.empty(); }));
  }

  void letPass(lab::Microseconds time) {
    pass(time);
    settle();
  }

  void deny() {
    bus.sendError(held.back(), SD_BUS_ERROR_ACCESS_DENIED, "No");
    settle();
  }

  std::vector<OwnedMessage> held;

 private:
  std::string wanted_;
};

TEST_F(BluezStart, ThatIsNeverAnsweredIsGivenUp) {
  hold("StartServiceByName");
  letPass(9s);
  EXPECT_TRUE(states.empty());
  letPass(2s);
  EXPECT_EQ(states, std::vector{CBManagerState::unsupported});
}

TEST_F(BluezStart, ThatWasGivenUpIsNotReportedAgain) {
  hold("StartServiceByName");
  letPass(11s);
  deny();
  EXPECT_EQ(states, std::vector{CBManagerState::unsupported});
}

TEST_F(BluezStart, ThatIsDeniedIsNotGivenUpAsWell) {
  hold("StartServiceByName");
  deny();
  letPass(11s);
  EXPECT_EQ(states, std::vector{CBManagerState::unauthorized});
}

TEST_F(BluezStart, IsNotAskedForWhereNobodyMayAskForBluez) {
  hold("GetNameOwner");
  deny();
  letPass(11s);
  EXPECT_EQ(states, std::vector{CBManagerState::unauthorized});
}

TEST_F(BluezStart, IsOverOnceBluezWasThereEvenIfItGoesAgain) {
  hold("StartServiceByName");
  bluez = std::make_unique<ScriptedBluez>(bus);
  settle();
  bluez.reset();
  letPass(11s);
  EXPECT_EQ(states, std::vector{CBManagerState::resetting});
}

}  // namespace
}  // namespace bluez_tests
