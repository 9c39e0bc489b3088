// Scanning: which devices are reported, and when.
#include "contract/ContractTest.h"

namespace contract {

using Scan = ContractTest;

TEST_F(Scan, ReportsAnAdvertisingDeviceWithItsName) {
  discover();
  EXPECT_EQ(peripheral->name(), kName);
}

TEST_F(Scan, ReportsADeviceThatAppearsLater) {
  start();
  manager->scanForPeripherals();
  settle();
  ASSERT_EQ(timesDiscovered(kName), 0U);
  bench->putOnAir(device);
  EXPECT_TRUE(waitUntil([&] { return timesDiscovered(kName) == 1; }));
}

TEST_F(Scan, ReportsADeviceOnce) {
  discover();
  settle();
  EXPECT_EQ(timesDiscovered(kName), 1U);
}

TEST_F(Scan, ReportsEveryDevice) {
  bench->putOnAir(otherDevice);
  discover();
  EXPECT_TRUE(waitUntil([&] { return timesDiscovered("Contract-2") == 1; }));
  EXPECT_NE(discovered(kName), discovered("Contract-2"));
}

TEST_F(Scan, ReportsAgainWhenAMissingNameBecomesKnown) {
  device.setName("");
  start();
  bench->putOnAir(device);
  manager->scanForPeripherals();
  const auto isNameless = [](const Recorder::Event& event) {
    return event.what == What::discover && !event.name;
  };
  const auto nameless = [&]() -> const CBPeripheral* {
    for (const auto& event : recorder.events()) {
      if (isNameless(event)) return event.peripheral.get();
    }
    return nullptr;
  };
  ASSERT_TRUE(waitUntil([&] { return nameless() != nullptr; }));
  const CBPeripheral* before = nameless();
  order([](ContractDevice& model) { model.setName(kName); });
  ASSERT_TRUE(waitUntil([&] { return timesDiscovered(kName) == 1; }));
  EXPECT_EQ(*discovered(kName).begin(), before);
}

TEST_F(Scan, ReportsNothingBeforeItWasAskedFor) {
  bench->putOnAir(device);
  start();
  settle();
  EXPECT_EQ(recorder.count(What::discover), 0U);
}

TEST_F(Scan, ReportsNothingAfterItWasStopped) {
  start();
  manager->scanForPeripherals();
  settle();
  manager->stopScan();
  bench->putOnAir(device);
  settle();
  EXPECT_EQ(timesDiscovered(kName), 0U);
}

TEST_F(Scan, StartedAgainReportsKnownDevicesAgain) {
  discover();
  manager->scanForPeripherals();
  ASSERT_TRUE(waitUntil([&] { return timesDiscovered(kName) == 2; }));
  manager->stopScan();
  manager->scanForPeripherals();
  EXPECT_TRUE(waitUntil([&] { return timesDiscovered(kName) == 3; }));
}

TEST_F(Scan, ReportsTheSameObjectForTheSameDevice) {
  discover();
  manager->stopScan();
  manager->scanForPeripherals();
  ASSERT_TRUE(waitUntil([&] { return timesDiscovered(kName) == 2; }));
  EXPECT_EQ(discovered(kName).size(), 1U);
}

TEST_F(Scan, ReportsADeviceThatIsConnectedAlready) {
  connect();
  restart();
  start();
  manager->scanForPeripherals();
  EXPECT_TRUE(waitUntil([&] { return timesDiscovered(kName) == 1; }));
  EXPECT_TRUE(done().empty());
  bool isConnected = false;
  bench->onDevices([&] { isConnected = device.isConnected(); });
  EXPECT_TRUE(isConnected);
}

TEST_F(Scan, EndsWhenTheRadioIsSwitchedOff) {
  start();
  manager->scanForPeripherals();
  bench->setPowered(false);
  ASSERT_TRUE(waitFor(What::state, 2));
  bench->setPowered(true);
  ASSERT_TRUE(waitFor(What::state, 3));
  bench->putOnAir(device);
  settle();
  EXPECT_EQ(timesDiscovered(kName), 0U);
  manager->scanForPeripherals();
  EXPECT_TRUE(waitUntil([&] { return timesDiscovered(kName) == 1; }));
}

}  // namespace contract
