#include "BluezTest.h"
#include "FullPipe.h"
#include "support/PipeOutput.h"

namespace bluez_tests {
namespace {

using platform::CBManagerState;

// Callbacks that are held back because the host does not read, and are out of date when it does.
class BluezStalledHost : public BluezTest {
 protected:
  void stall() {
    platform->deliverInto(asOutput);
    output.fill();
  }
  void goOn() {
    output.drain();
    settle();
  }
  void see(const std::string& path) {
    bluez->change(path, kDeviceInterface, {{"RSSI", std::int16_t{-50}}});
    settle();
  }

  FullPipe output;
  support::PipeOutput asOutput{output.input()};
};

TEST_F(BluezStalledHost, GetsNothingOnceTheManagerIsGone) {
  bluez->objects[kAdapter] = adapter(true);
  stall();
  start();
  settle();
  manager.reset();
  goOn();
  EXPECT_TRUE(states.empty());
}

TEST_F(BluezStalledHost, LeavesTheStateAsLastReportedUntilItReads) {
  bluez->objects[kAdapter] = adapter(true);
  stall();
  start();
  settle();
  EXPECT_EQ(manager->state(), CBManagerState::unknown);
  goOn();
  EXPECT_EQ(manager->state(), CBManagerState::poweredOn);
}

TEST_F(BluezStalledHost, GetsNoDeviceOnceTheScanHasEnded) {
  bluez->objects[kDevice] = device("Tramsel-1");
  startPoweredOn();
  stall();
  manager->scanForPeripherals();
  settle();
  see(kDevice);
  manager->stopScan();
  goOn();
  EXPECT_TRUE(reports.empty());
}

TEST_F(BluezStalledHost, GetsADeviceOnceInANewScan) {
  bluez->objects[kDevice] = device("Tramsel-1");
  startPoweredOn();
  stall();
  manager->scanForPeripherals();
  settle();
  see(kDevice);
  manager->scanForPeripherals();
  settle();
  see(kDevice);
  goOn();
  EXPECT_EQ(reports.size(), 1U);
}

// As the bridge does with a device that it does not serve.
class BluezStalledHostAmongStrangers : public BluezStalledHost {
 protected:
  void centralManagerDidDiscover(platform::CBCentralManager&,
                                 const std::shared_ptr<platform::CBPeripheral>& found) override {
    stranger = found;
    ++times;
  }

  void passWhileStalled() {
    bluez->objects[kDevice] = device("Beacon 1");
    startPoweredOn();
    stall();
    manager->scanForPeripherals();
    settle();
    see(kDevice);
    bluez->remove(kDevice);
    settle();
  }

  std::weak_ptr<platform::CBPeripheral> stranger;
  int times = 0;  // that it was told of
};

TEST_F(BluezStalledHostAmongStrangers, KeepsNoDeviceThatHasGoneMeanwhile) {
  passWhileStalled();
  EXPECT_EQ(times, 0);
  goOn();
  EXPECT_EQ(times, 1);
  EXPECT_TRUE(stranger.expired());
}

TEST_F(BluezStalledHostAmongStrangers, KeepsOneThatHasGoneAndIsBack) {
  passWhileStalled();
  bluez->add(kDevice, device("Beacon 1"));
  settle();
  goOn();
  see(kDevice);
  EXPECT_EQ(times, 1);
  EXPECT_FALSE(stranger.expired());
}

TEST_F(BluezStalledHost, LeavesTheServicesAsLastReportedUntilItReads) {
  connect();
  const std::string path = std::string(kDevice) + "/service000a";
  bluez->objects[path] = service(kService);
  bluez->objects[path + "/char000b"] = characteristic(kStream);
  bluez->change(kDevice, kDeviceInterface, {{"ServicesResolved", true}});
  stall();
  peripheral->discoverServices(std::vector{kService});
  settle();
  EXPECT_EQ(peripheral->services(), nullptr);
  goOn();
  ASSERT_NE(peripheral->services(), nullptr);

  platform::CBService& found = *peripheral->services()->front();
  stall();
  peripheral->discoverCharacteristics(std::vector{kStream}, found);
  settle();
  EXPECT_EQ(found.characteristics(), nullptr);
  goOn();
  EXPECT_NE(found.characteristics(), nullptr);
}

}  // namespace
}  // namespace bluez_tests
