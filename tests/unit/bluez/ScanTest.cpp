#include "BluezTest.h"

namespace bluez_tests {
namespace {

using namespace std::chrono_literals;

class BluezScan : public BluezTest {
 protected:
  void scan() {
    manager->scanForPeripherals();
    settle();
  }
  void see(const std::string& path = kDevice) {
    bluez->change(path, kDeviceInterface, {{"RSSI", std::int16_t{-50}}});
    settle();
  }
};

TEST_F(BluezScan, ReportsADeviceThatIsSeen) {
  startPoweredOn();
  scan();
  Interfaces seen = device("Tramsel-1");
  seen[kDeviceInterface]["RSSI"] = std::int16_t{-40};
  bluez->add(kDevice, seen);
  settle();
  ASSERT_EQ(reports.size(), 1U);
  EXPECT_EQ(reports[0]->name(), "Tramsel-1");
}

TEST_F(BluezScan, DoesNotReportADeviceThatBluezOnlyRemembers) {
  bluez->objects[kDevice] = device("Tramsel-1");
  startPoweredOn();
  scan();
  EXPECT_TRUE(reports.empty());
  see();
  EXPECT_EQ(reports.size(), 1U);
}

TEST_F(BluezScan, ReportsADeviceThatIsConnectedAlready) {
  bluez->objects[kDevice] = device("Tramsel-1", true);
  startPoweredOn();
  scan();
  EXPECT_EQ(reports.size(), 1U);
}

// UTF-8, BlueZ and the bus daemon allow noncharacters, but sd-bus refuses to read them.
TEST_F(BluezScan, ReportsADeviceWhoseNameHasNoncharacters) {
  bluez->objects[kDevice] = device("Ilo \uFDD0\uFFFF\U0001FFFE", true);
  bluez->objects[kDevice][kDeviceInterface]["Alias"] = std::string("\uFFFE");
  startPoweredOn();
  scan();
  ASSERT_EQ(reports.size(), 1U);
  EXPECT_EQ(reports[0]->name(), "Ilo \uFFFD\uFFFD\U0001FFFD");
  EXPECT_EQ(manager->state(), platform::CBManagerState::poweredOn);
}

// The signal of a change leaves out what did not change, here the name.
TEST_F(BluezScan, ReportsADeviceWithItsNameWhenAChangeIsTheFirstSignalAboutIt) {
  startPoweredOn();
  scan();
  bluez->objects[kDevice] = device("Tramsel-1");
  see();
  ASSERT_EQ(reports.size(), 1U);
  EXPECT_EQ(reports[0]->name(), "Tramsel-1");
}

TEST_F(BluezScan, ReportsADeviceOnce) {
  discover();
  see();
  see();
  EXPECT_EQ(reports.size(), 1U);
}

TEST_F(BluezScan, TakesANewDeviceFromItsSignalWithoutListingAllObjects) {
  startPoweredOn();
  scan();
  const std::size_t before = bluez->count("/", "GetManagedObjects");
  bluez->add(kDevice, device("Tramsel-1"));
  see();
  EXPECT_EQ(reports.size(), 1U);
  EXPECT_EQ(bluez->count("/", "GetManagedObjects"), before);
}

// Where BlueZ cannot run, the bus would otherwise try to start it for each call, and let it wait.
TEST_F(BluezScan, AsksBluezWithoutStartingIt) {
  startPoweredOn();
  bool mayStart = true;
  bluez->on(kAdapter, "StartDiscovery", [&](OwnedMessage call) {
    mayStart = sd_bus_message_get_auto_start(call.get()) != 0;
    bluez->reply(call);
  });
  scan();
  EXPECT_FALSE(mayStart);
}

TEST_F(BluezScan, ReportsAgainWhenANameBecomesKnown) {
  bluez->objects[kDevice] = device("");
  startPoweredOn();
  scan();
  see();
  ASSERT_EQ(reports.size(), 1U);
  EXPECT_FALSE(reports[0]->name());
  bluez->change(kDevice, kDeviceInterface, {{"Name", std::string("Tramsel-1")}});
  settle();
  ASSERT_EQ(reports.size(), 2U);
  EXPECT_EQ(reports[1], reports[0]);
  EXPECT_EQ(reports[1]->name(), "Tramsel-1");
}

TEST_F(BluezScan, ReportsKnownDevicesAgainInANewScan) {
  discover();
  scan();
  ASSERT_EQ(reports.size(), 2U);
  EXPECT_EQ(reports[1], reports[0]);
}

TEST_F(BluezScan, ReportsNothingOnceItIsStopped) {
  startPoweredOn();
  scan();
  manager->stopScan();
  bluez->add(kDevice, device("Tramsel-1"));
  see();
  EXPECT_TRUE(reports.empty());
  EXPECT_EQ(bluez->count(kAdapter, "StopDiscovery"), 1U);
}

TEST_F(BluezScan, IgnoresDevicesOfOtherAdapters) {
  const std::string other = "/org/bluez/hci1/dev_00_11_22_33_44_55";
  startPoweredOn();
  scan();
  bluez->add(other, device("Tramsel-1"));
  see(other);
  EXPECT_TRUE(reports.empty());
}

TEST_F(BluezScan, AsksNothingAboutDevicesOfOtherAdapters) {
  const std::string other = "/org/bluez/hci1/dev_00_11_22_33_44_55";
  startPoweredOn();
  scan();
  const std::size_t before = bluez->count("/", "GetManagedObjects");
  for (int i = 0; i < 3; ++i) see(other);
  EXPECT_EQ(bluez->count("/", "GetManagedObjects"), before);
}

TEST_F(BluezScan, IsTriedAgainWhenItCannotStart) {
  startPoweredOn();
  int tries = 0;
  bluez->on(kAdapter, "StartDiscovery", [&](OwnedMessage call) {
    if (++tries == 1) return bluez->refuse(call, "org.bluez.Error.InProgress", "Busy");
    bluez->reply(call);
  });
  manager->scanForPeripherals();
  pass(1s);
  EXPECT_TRUE(waitUntil([&] { return tries == 2; }));
}

TEST_F(BluezScan, GivesTheSameObjectForADeviceThatWasForgottenWhileItIsHeld) {
  discover();
  bluez->remove(kDevice);
  settle();
  bluez->add(kDevice, device("Tramsel-1"));
  scan();
  see();
  ASSERT_EQ(reports.size(), 2U);
  EXPECT_EQ(reports[1], peripheral);
}

// BlueZ may have removed the object and made a new one in between.
TEST_F(BluezScan, ReadsTheWholeDeviceWhenAChangeIsTheFirstSignalAboutItAgain) {
  discover();
  bluez->remove(kDevice);
  settle();
  bluez->objects[kDevice] = device("Tramsel-2");
  see();
  EXPECT_EQ(peripheral->name(), "Tramsel-2");
}

TEST_F(BluezScan, DropsADeviceThatNobodyHoldsWhenBluezForgetsIt) {
  startPoweredOn();
  scan();
  bluez->add(kDevice, device("Tramsel-1"));
  see();
  ASSERT_EQ(reports.size(), 1U);
  const std::weak_ptr<platform::CBPeripheral> known = reports[0];
  reports.clear();
  bluez->remove(kDevice);
  settle();
  EXPECT_TRUE(known.expired());
}

TEST_F(BluezScan, StartsAnewOnTheStackThatComesBack) {
  discover();
  bluez.reset();
  ASSERT_TRUE(waitUntil([&] { return states.size() == 2; }));
  bluez = std::make_unique<ScriptedBluez>(bus);
  bluez->objects["/org/bluez/hci3"] = adapter(true);
  pass(5s);
  ASSERT_TRUE(waitUntil([&] { return states.size() == 3; }));
  scan();
  EXPECT_EQ(bluez->count("/org/bluez/hci3", "SetDiscoveryFilter"), 1U);
  const std::string path = "/org/bluez/hci3/dev_00_11_22_33_44_55";
  bluez->add(path, device("Tramsel-1"));
  see(path);
  ASSERT_EQ(reports.size(), 2U);
  EXPECT_EQ(reports[1], peripheral);
}

TEST_F(BluezScan, SurvivesPropertiesOfTheWrongType) {
  startPoweredOn();
  scan();
  bluez->add(kDevice, {{kDeviceInterface,
                        {{"Name", true},
                         {"Connected", std::string("yes")},
                         {"ServicesResolved", Bytes{1}},
                         {"RSSI", std::string("strong")}}}});
  settle();
  ASSERT_EQ(reports.size(), 1U);
  EXPECT_FALSE(reports[0]->name());
}

}  // namespace
}  // namespace bluez_tests
