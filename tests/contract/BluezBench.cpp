// The bench of the BlueZ implementation with the real bluetoothd, in the virtual machine: hci0 is
// the machine's radio, the devices have controllers of their own. For every test a new bluetoothd
// is started, which remembers nothing.
#include <gtest/gtest.h>

#include "contract/Bench.h"
#include "contract/LabAir.h"
#include "stack/BluetoothStack.h"

namespace contract {
namespace {

constexpr char kFolder[] = "/run";  // where logs go
constexpr char kAdapter[] = "hci0";
constexpr int kControllers = 3;

// bluetoothd answers StopDiscovery within some milliseconds.
constexpr std::chrono::seconds kStopLimit{5};

// The controllers and devices, which stay for as long as the program runs.
LabAir& air() {
  static struct Controllers {
    Controllers() { stack.startControllers(kControllers); }
    stack::BluetoothStack stack{kFolder};
  } controllers;
  static LabAir air;
  return air;
}

class BluezBench final : public Bench {
 public:
  BluezBench() {
    stack_.startBluetoothd();
    waitForPower(true);
    platform_ = platform::makePlatform();
  }

  // bluetoothd ends before the devices do: Linux 6.1 was seen to crash (in hci_chan_del) when
  // bluetoothd releases a link that is already down.
  ~BluezBench() override {
    endPlatform();
    EXPECT_TRUE(stack_.bluez().isRunning()) << "bluetoothd has ended in the course of the test";
    stack_.killBluetoothd();
    air_.takeBackAll();
  }

  platform::Platform& platform() override { return *platform_; }
  void restartPlatform() override {
    endPlatform();
    platform_ = platform::makePlatform();
  }

  void putOnAir(ContractDevice& model) override { air_.lend(model); }
  void vanish(ContractDevice& model) override { air_.control(model, "vanish"); }
  void appear(ContractDevice& model) override { air_.control(model, "advertise on"); }
  void dropAtServiceDiscovery(ContractDevice& model) override {
    air_.control(model, "fault drop-at=services");
  }

  void setPowered(bool powered) override {
    stack_.bluez().setPowered(kAdapter, powered);
    waitForPower(powered);
  }
  void onDevices(const std::function<void()>& action) override { air_.run(action); }
  double settlingTime() const override { return 1; }

 private:
  // The manager has called StopDiscovery when it was destroyed. bluetoothd 5.66 crashes when the
  // caller leaves the bus before the answer. And when bluetoothd is killed while the kernel
  // discovers, the kernel goes on for 10 s, in which the next bluetoothd hears nothing.
  void endPlatform() {
    waitForDiscoveryEnd();
    platform_.reset();
    waitForDiscoveryEnd();
  }
  void waitForDiscoveryEnd() {
    const auto isOver = [&] { return !stack_.bluez().isDiscovering(kAdapter).value_or(false); };
    stack_.bluez().waitUntil(isOver, kStopLimit);
  }

  void waitForPower(bool powered) {
    stack_.bluez().waitUntil([&] { return stack_.bluez().isPowered(kAdapter) == powered; });
  }

  LabAir& air_ = air();
  stack::BluetoothStack stack_{kFolder};
  std::unique_ptr<platform::Platform> platform_;
};

}  // namespace

std::unique_ptr<Bench> makeBench() {
  return std::make_unique<BluezBench>();
}

}  // namespace contract
