// The states that the radio can be in when the bridge starts.
#include <algorithm>
#include <cctype>

#include "StackTest.h"

namespace stack {
namespace {

using RadioTest = StackTest;

TEST_F(RadioTest, NoSystemBusIsUnsupported) {
  auto& bridge =
      startBridge({.environment = {{"DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/run/nowhere"}}});
  expectUnusable(bridge, "unsupported", "Z;3;");
}

TEST_F(RadioTest, NoBluetoothdIsUnsupported) {
  stack_.startControllers(1);
  auto& bridge = startBridge();
  expectUnusable(bridge, "unsupported", "Z;3;");
}

TEST_F(RadioTest, NoAdapterIsUnsupported) {
  stack_.startBluetoothd();
  auto& bridge = startBridge();
  expectUnusable(bridge, "unsupported", "Z;3;");
}

TEST_F(RadioTest, PoweredOffRadioIsPoweredOff) {
  stack_.start(1);
  stack_.bluez().setPowered("hci0", false);
  auto& bridge = startBridge();
  expectUnusable(bridge, "poweredOff", "Z;2;");
}

TEST_F(RadioTest, DeniedAccessIsUnauthorized) {
  stack_.start(1);
  stack_.denyAccess();
  auto& bridge = startBridge();
  expectUnusable(bridge, "unauthorized", "Z;4;");
}

// The first of two radios is off, so the other one is used.
TEST_F(RadioTest, AnyPoweredRadioServes) {
  stack_.start(2);
  stack_.bluez().setPowered("hci0", false);
  auto& bridge = startBridge();
  EXPECT_TRUE(bridge.waitForLog(stateLine("poweredOn")));
  EXPECT_TRUE(waitForScan("hci1"));
}

TEST_F(RadioTest, ChosenRadioServesByName) {
  stack_.start(2);
  auto& bridge = startBridge({.environment = {{"VORNIX_ADAPTER", "hci1"}}});
  EXPECT_TRUE(bridge.waitForLog(stateLine("poweredOn")));
  EXPECT_TRUE(waitForScan("hci1"));
  EXPECT_EQ(stack_.bluez().isDiscovering("hci0"), false);
}

TEST_F(RadioTest, ChosenRadioServesByAddress) {
  stack_.start(2);
  std::string address = stack_.bluez().address("hci1");
  ASSERT_EQ(address.size(), 17U);
  std::ranges::transform(address, address.begin(),
                         [](unsigned char each) { return static_cast<char>(std::tolower(each)); });
  auto& bridge = startBridge({.environment = {{"VORNIX_ADAPTER", address}}});
  EXPECT_TRUE(bridge.waitForLog(stateLine("poweredOn")));
  EXPECT_TRUE(waitForScan("hci1"));
  EXPECT_EQ(stack_.bluez().isDiscovering("hci0"), false);
}

TEST_F(RadioTest, ChosenRadioThatIsMissingIsUnsupported) {
  stack_.start(2);
  auto& bridge = startBridge({.environment = {{"VORNIX_ADAPTER", "hci2"}}});
  expectUnusable(bridge, "unsupported", "Z;3;");
}

TEST_F(RadioTest, OrdinaryUserMayScan) {
  stack_.start(1);
  // Other users may have no access to the build folder.
  const std::filesystem::path bridgeCopy = folder_ / "bridge";
  std::filesystem::copy_file(VORNIX_BRIDGE, bridgeCopy);
  auto& bridge = startBridge(
      {.arguments = {"--reuid=nobody", "--regid=nogroup", "--clear-groups", bridgeCopy}},
      "/usr/bin/setpriv");
  EXPECT_TRUE(bridge.waitForLog(stateLine("poweredOn")));
  EXPECT_TRUE(waitForScan());
}

}  // namespace
}  // namespace stack
