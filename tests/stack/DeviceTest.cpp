// Difficult devices: slow, refusing, or gone at the wrong moment.
#include <strings.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <fstream>
#include <string>
#include <thread>

#include "BusMonitor.h"
#include "Families.h"
#include "StackTest.h"

namespace stack {
namespace {

using namespace std::chrono_literals;

using DeviceTest = StackTest;

// Whether the kernel has connected bluetoothd's ATT channel to the device: a line of its list
// begins with the two addresses and their types, the channel's state (1: connected), its PSM and
// its number.
bool isAttConnected(const std::string& address) {
  std::ifstream list("/sys/kernel/debug/bluetooth/l2cap");
  std::string source, sourceType, destination, destinationType, state, psm, number, rest;
  while (list >> source >> sourceType >> destination >> destinationType >> state >> psm >> number) {
    std::getline(list, rest);
    const bool isAtt = number == "0x0004";
    if (isAtt && state == "1" && strcasecmp(destination.c_str(), address.c_str()) == 0) return true;
  }
  return false;
}

// The kernel reports this to bluetoothd alone, so this polls.
bool waitForAttChannel(const std::string& address) {
  const auto end = std::chrono::steady_clock::now() + support::patience;
  while (!isAttConnected(address)) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(10ms);
  }
  return true;
}

// bluetoothd 5.66 never answers a subscription that the device refuses; the bridge goes on without
// an answer after a while.
TEST_F(DeviceTest, RefusedSubscriptionHoldsNothingUp) {
  stack_.start(2);
  const auto tramsel =
      startTramsel({"--fault", std::string("refuse-subscribe=") + motionUuid, "--rate", "10"});
  auto& bridge = startBridge();
  EXPECT_TRUE(bridge.waitForMessage("C;3;0;"));
  EXPECT_TRUE(tramsel->waitFor(std::string("refused subscribe:") + motionUuid));
  // One read and one subscription more than bluetoothd's own, which came before.
  const std::string read = std::string("read ") + batteryUuid;
  EXPECT_TRUE(tramsel->waitFor(read, tramsel->count(read) + 1));
  EXPECT_TRUE(stack_.bluez().waitUntil([this] { return stack_.bluez().isAcquired(batteryUuid); }));
}

TEST_F(DeviceTest, RefusedSubscriptionIsReported) {
  stack_.start(2);
  const LabDevice fenwix(folder_, "hci1", "fenwix",
                         {"--fault", std::string("refuse-subscribe=") + commandUuid});
  auto& bridge = startBridge();
  const auto isReport = [](const support::OutputLine& line) {
    return line.text.starts_with("didUpdateNotificationStateFor 3A93 : Erreur : ");
  };
  EXPECT_TRUE(bridge.waitFor(isReport, 120s));
}

// As with a slow link, or when a person has to confirm a pairing.
class SlowDeviceTest : public StackTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(SlowDeviceTest, BecomesReady) {
  stack_.start(2);
  const LabDevice fenwix(
      folder_, "hci1", "fenwix",
      {"--fault", std::string("late-at=subscribe:") + commandUuid + "," + GetParam()});
  auto& bridge = startBridge();
  const auto isIdentification = [](const support::OutputLine& line) {
    return line.text.starts_with("C;5;0;");
  };
  EXPECT_TRUE(bridge.waitFor(isIdentification, 120s));
  EXPECT_TRUE(std::ranges::any_of(bridge.lines(), [](const support::OutputLine& line) {
    return line.isLog("didUpdateNotificationStateFor 3A93 : ok");
  }));
}

INSTANTIATE_TEST_SUITE_P(Milliseconds, SlowDeviceTest, ::testing::Values("6000", "20000"));

TEST_F(DeviceTest, NameThatComesLater) {
  stack_.start(2);
  const auto tramsel = startTramsel({"--name", "", "--rate", "200"});
  auto& bridge = startBridge();
  EXPECT_TRUE(stack_.bluez().waitUntil([this] {
    const auto devices = stack_.bluez().devices();
    return devices.size() == 1 && devices.front().name.empty();
  }));
  tramsel->control("name Tramsel-late");
  EXPECT_TRUE(bridge.waitForLog("Device trouve : tramsel-late"));
  EXPECT_TRUE(waitForMotions(bridge, 20));
}

TEST_F(DeviceTest, NameInTheScanResponse) {
  stack_.start(2);
  const auto tramsel = startTramsel({"--control", "name-in scan-response", "--rate", "200"});
  auto& bridge = startBridge();
  EXPECT_TRUE(waitForMotions(bridge, 20));
}

// The device advertises, but accepts no link at first. BlueZ gives up after 40 s, the bridge does
// not.
TEST_F(DeviceTest, FirstConnectionsRefused) {
  stack_.start(2);
  BusMonitor monitor({"type='error',sender='org.bluez'"});
  const auto tramsel = startTramsel({"--control", "connectable off", "--rate", "200"});
  auto& bridge = startBridge();
  EXPECT_TRUE(bridge.waitForMessage("C;3;0;"));
  EXPECT_TRUE(monitor.waitForError(120s));
  EXPECT_EQ(tramsel->count("connected"), 0U);
  tramsel->control("connectable on");
  EXPECT_TRUE(waitForMotions(bridge, 20, 120s));
}

// bluetoothd 5.66 then finds the socket and the link ready at the same time, and never signals that
// Connected has changed.
TEST_F(DeviceTest, ConnectedWhileBluetoothdHung) {
  stack_.start(2);
  BusMonitor monitor({"type='method_call',interface='org.bluez.Device1',member='Connect'"});
  const auto tramsel = startTramsel({"--control", "connectable off", "--rate", "200"});
  auto& bridge = startBridge();
  EXPECT_TRUE(monitor.waitForConnect());
  stack_.bluez().devices();  // when this is answered, the attempt has begun
  stack_.signalBluetoothd(SIGSTOP);
  tramsel->control("connectable on");
  EXPECT_TRUE(tramsel->waitFor("connected"));
  EXPECT_TRUE(waitForAttChannel(tramsel->address()));
  stack_.signalBluetoothd(SIGCONT);
  EXPECT_TRUE(waitForMotions(bridge, 20, 120s));
}

// The scan reports the device, but it is gone when the bridge asks for the link.
TEST_F(DeviceTest, GoneBetweenDiscoveryAndConnection) {
  stack_.start(2);
  auto& bridge = startBridge();
  EXPECT_TRUE(waitForScan());
  bridge.sendSignal(SIGSTOP);
  auto tramsel = startTramsel({"--rate", "200"});
  EXPECT_TRUE(stack_.bluez().waitUntil([this] { return !stack_.bluez().devices().empty(); }));
  tramsel.reset();
  bridge.sendSignal(SIGCONT);

  EXPECT_TRUE(bridge.waitForMessage("C;3;0;"));
  tramsel = startTramsel({"--rate", "200"});
  EXPECT_TRUE(waitForMotions(bridge, 20, 120s));
}

// bluetoothd removes a device that it has not heard for 30 s. The bridge asks for the link when the
// device is not known any more; then it is heard again.
TEST_F(DeviceTest, ForgottenBetweenDiscoveryAndConnection) {
  stack_.start(2);
  auto& bridge = startBridge();
  EXPECT_TRUE(waitForScan());
  bridge.sendSignal(SIGSTOP);
  auto tramsel = startTramsel({"--rate", "200"});
  EXPECT_TRUE(stack_.bluez().waitUntil([this] { return !stack_.bluez().devices().empty(); }));
  tramsel.reset();
  EXPECT_TRUE(stack_.bluez().waitUntil([this] { return stack_.bluez().devices().empty(); }, 120s));
  bridge.sendSignal(SIGCONT);

  tramsel = startTramsel({"--rate", "200"});
  EXPECT_TRUE(waitForMotions(bridge, 20, 120s));
}

}  // namespace
}  // namespace stack
