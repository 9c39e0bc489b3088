#include "BluezTest.h"

namespace bluez_tests {
namespace {

using platform::CBManagerState;
using namespace std::chrono_literals;

// Devices, and requests for their links, while BlueZ and the adapters come and go.
class BluezKnownDevice : public BluezTest {
 protected:
  static constexpr char kOtherAdapter[] = "/org/bluez/hci1";
  static constexpr char kSameDeviceElsewhere[] = "/org/bluez/hci1/dev_00_11_22_33_44_55";

  void holdConnects() {
    bluez->on(kDevice, "Connect",
              [this](OwnedMessage call) { pending.push_back(std::move(call)); });
  }
  void askForLink() {
    discover();
    holdConnects();
    manager->connect(peripheral);
    ASSERT_TRUE(waitUntil([&] { return pending.size() == 1; }));
  }
  void letGo() {
    peripheral.reset();
    reports.clear();
  }
  void holdDiscovery(const std::string& adapterPath) {
    bluez->on(adapterPath, "SetDiscoveryFilter",
              [this](OwnedMessage call) { pending.push_back(std::move(call)); });
  }

  std::vector<OwnedMessage> pending;
};

TEST_F(BluezKnownDevice, IsReportedAgainInANewScanThoughItDoesNotAdvertise) {
  bluez->objects[kDevice] = device("Tramsel-1", true);
  startPoweredOn();
  manager->scanForPeripherals();
  settle();
  ASSERT_EQ(reports.size(), 1U);
  manager->scanForPeripherals();
  settle();
  EXPECT_EQ(reports.size(), 2U);
}

// As after a bridge that ended while it was connecting: the device is connected and does not
// advertise any more.
TEST_F(BluezKnownDevice, IsReportedWhenAnotherProgramHasConnectedToIt) {
  bluez->objects[kDevice] = device("Tramsel-1");
  startPoweredOn();
  manager->scanForPeripherals();
  settle();
  EXPECT_TRUE(reports.empty());
  bluez->change(kDevice, kDeviceInterface, {{"Connected", true}});
  settle();
  EXPECT_EQ(reports.size(), 1U);
  bluez->change(kDevice, kDeviceInterface, {{"Connected", true}});
  settle();
  EXPECT_EQ(reports.size(), 1U);
}

TEST_F(BluezKnownDevice, WithoutAnObjectIsDiscoveredForItsLinkAfterTheScan) {
  discover();
  manager->stopScan();
  ASSERT_TRUE(waitUntil([&] { return bluez->count(kAdapter, "StopDiscovery") == 1; }));
  bluez->remove(kDevice);
  settle();
  manager->connect(peripheral);
  EXPECT_TRUE(waitUntil([&] { return bluez->count(kAdapter, "StartDiscovery") == 2; }));
}

TEST_F(BluezKnownDevice, ThatNobodyHoldsIsLinkedWhenItIsBack) {
  askForLink();
  letGo();
  bluez->remove(kDevice);
  settle();
  bluez->add(kDevice, device("Tramsel-1"));
  EXPECT_TRUE(waitUntil([&] { return pending.size() == 2; }));
}

TEST_F(BluezKnownDevice, ThatNobodyHoldsIsLinkedWhenItIsBackInAnotherScan) {
  askForLink();
  letGo();
  bluez->remove(kDevice);
  settle();
  manager->scanForPeripherals();
  settle();
  bluez->add(kDevice, device("Tramsel-1"));
  EXPECT_TRUE(waitUntil([&] { return pending.size() == 2; }));
}

TEST_F(BluezKnownDevice, IsLinkedWhenBluezComesBackBeforeDiscoveryStarts) {
  askForLink();
  bluez.reset();
  ASSERT_TRUE(waitUntil([&] { return states.size() == 2; }));
  bluez = std::make_unique<ScriptedBluez>(bus);
  bluez->objects[kAdapter] = adapter(true);
  bluez->objects[kDevice] = device("Tramsel-1");
  holdDiscovery(kAdapter);
  EXPECT_TRUE(waitUntil([&] { return bluez->count(kDevice, "Connect") == 1; }));
}

TEST_F(BluezKnownDevice, IsLinkedThroughAnotherAdapterBeforeDiscoveryStarts) {
  askForLink();
  bluez->objects[kSameDeviceElsewhere] = device("Tramsel-1");
  holdDiscovery(kOtherAdapter);
  bluez->remove(kAdapter);
  ASSERT_TRUE(waitUntil([&] { return states.back() == CBManagerState::unsupported; }));
  bluez->add(kOtherAdapter, adapter(true));
  EXPECT_TRUE(waitUntil([&] { return bluez->count(kSameDeviceElsewhere, "Connect") == 1; }));
}

TEST_F(BluezKnownDevice, KeepsItsLinkWhenAnotherAdapterForgetsIt) {
  connectAndDiscover();
  bluez->add(kOtherAdapter, adapter(true));
  bluez->add(kSameDeviceElsewhere, device("Tramsel-1"));
  bluez->remove(kSameDeviceElsewhere);
  settle();
  peripheral->readValue(at(kStream));
  EXPECT_TRUE(waitUntil([&] { return !told.empty(); }));
}

TEST_F(BluezKnownDevice, LosesItsLinkWithItsManager) {
  connect();
  manager.reset();
  peripheral->discoverServices(std::vector{kService});
  ASSERT_TRUE(waitUntil([&] { return serviceAnswers.size() == 1; }));
  EXPECT_TRUE(serviceAnswers[0]);
}

TEST_F(BluezKnownDevice, LosesItsLinkWithTheBus) {
  connect();
  peripheral->discoverServices(std::vector{kService});
  settle();
  bus.hangUp();
  ASSERT_TRUE(waitUntil([&] { return serviceAnswers.size() == 1; }));
  EXPECT_TRUE(serviceAnswers[0]);
}

}  // namespace
}  // namespace bluez_tests
