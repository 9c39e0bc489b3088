// Connection requests.
#include "contract/ContractTest.h"

namespace contract {

using Connect = ContractTest;

TEST_F(Connect, IsReportedWhenTheLinkIsUp) {
  connect();
  bool isConnected = false;
  bench->onDevices([&] { isConnected = device.isConnected(); });
  EXPECT_TRUE(isConnected);
}

TEST_F(Connect, IsReportedOncePerLink) {
  connect();
  settle();
  EXPECT_EQ(recorder.count(What::connect), 1U);
}

TEST_F(Connect, WorksWhileScanning) {
  discover();
  manager->connect(peripheral);
  EXPECT_TRUE(waitFor(What::connect));
}

TEST_F(Connect, AskedForAgainChangesNothing) {
  discover();
  manager->connect(peripheral);
  manager->connect(peripheral);
  ASSERT_TRUE(waitFor(What::connect));
  settle();
  EXPECT_EQ(recorder.count(What::connect), 1U);
}

TEST_F(Connect, StandsUntilTheDeviceComesBack) {
  discover();
  bench->vanish(device);
  manager->connect(peripheral);
  settle();
  ASSERT_EQ(recorder.count(What::connect), 0U);
  bench->appear(device);
  ASSERT_TRUE(waitFor(What::connect));
  EXPECT_EQ(recorder.last(What::connect).peripheral, peripheral);
}

TEST_F(Connect, StandsAlsoAfterTheScanWasStopped) {
  discover();
  bench->vanish(device);
  manager->connect(peripheral);
  manager->stopScan();
  settle();
  ASSERT_EQ(recorder.count(What::connect), 0U);
  bench->appear(device);
  ASSERT_TRUE(waitFor(What::connect));
  EXPECT_EQ(recorder.last(What::connect).peripheral, peripheral);
}

TEST_F(Connect, ToOneDeviceDoesNotHoldUpAnother) {
  bench->putOnAir(otherDevice);
  discover();
  ASSERT_TRUE(waitUntil([&] { return timesDiscovered("Contract-2") == 1; }));
  std::shared_ptr<CBPeripheral> other;
  for (const Recorder::Event& event : recorder.events()) {
    if (event.name == "Contract-2") other = event.peripheral;
  }
  bench->vanish(otherDevice);
  manager->connect(other);
  manager->connect(peripheral);
  ASSERT_TRUE(waitFor(What::connect));
  EXPECT_EQ(recorder.last(What::connect).peripheral, peripheral);
}

TEST_F(Connect, AfterALostLinkIsReportedAgain) {
  connect();
  dropLink();
  EXPECT_EQ(recorder.count(What::connect), 1U);
  manager->connect(peripheral);
  EXPECT_TRUE(waitFor(What::connect, 2));
}

TEST_F(Connect, ToADeviceThatIsConnectedAlreadyIsReported) {
  connect();
  restart();
  start();
  manager->scanForPeripherals();
  ASSERT_TRUE(waitUntil([&] { return timesDiscovered(kName) == 1; }));
  manager->connect(recorder.last(What::discover).peripheral);
  EXPECT_TRUE(waitFor(What::connect));
}

TEST_F(Connect, OfALostLinkIsNotReported) {
  connect();
  recorder.forget();
  dropLink();
  EXPECT_TRUE(recorder.events().empty());
}

}  // namespace contract
