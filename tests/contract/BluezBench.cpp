// The bench of the BlueZ implementation with the real bluetoothd, in the virtual machine: hci0 is
// the machine's radio, the devices have controllers of their own. For every test a new bluetoothd
// is started, which remembers nothing.
#include <gtest/gtest.h>

#include <csignal>
#include <optional>

#include "contract/LabAir.h"
#include "contract/StackBench.h"
#include "stack/BluetoothStack.h"
#include "stack/BusMonitor.h"

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

// What passes between bluetoothd and its clients, and a call to the bus that only the bench makes.
const std::vector<std::string> kTraffic{
    "type='method_call',destination='org.bluez'",
    "type='method_return'",
    "type='error'",
    "type='signal',sender='org.bluez'",
    "type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged',arg0='org.bluez'",
    "type='method_call',member='GetConnectionUnixProcessID'",
};

class BluezBench final : public StackBench {
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
    EXPECT_TRUE(isStopped_ || stack_.bluez().isRunning())
        << "bluetoothd has ended in the course of the test";
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

  // The bus passes everything on in one order, so what came before a call of the bench's own is
  // seen before it.
  Traffic& traffic() override {
    if (!monitor_) monitor_.emplace(kTraffic);
    const std::string own = stack_.bluez().name();
    stack_.bluez().busProcess();
    const auto isLast = [&](sd_bus_message* message) {
      const char* sender = sd_bus_message_get_sender(message);
      if (sender == nullptr || own != sender) {
        traffic_.add(message);
        return false;
      }
      return sd_bus_message_is_method_call(message, nullptr, "GetConnectionUnixProcessID") > 0;
    };
    EXPECT_TRUE(monitor_->waitFor(isLast));
    return traffic_;
  }

  void stopStack() override {
    stack_.signalBluetoothd(SIGTERM);
    isStopped_ = stack_.bluez().waitUntil([&] { return !stack_.bluez().isRunning(); });
  }
  void killStack() override { stack_.killBluetoothd(); }
  void startStack() override {
    stack_.startBluetoothd();
    waitForPower(true);
  }
  void discoverForAnother(bool isOn) override { stack_.bluez().setDiscovering(kAdapter, isOn); }

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

  bool isStopped_ = false;
  Traffic traffic_;
  std::optional<stack::BusMonitor> monitor_;
  LabAir& air_ = air();
  stack::BluetoothStack stack_{kFolder};
  std::unique_ptr<platform::Platform> platform_;
};

}  // namespace

std::unique_ptr<Bench> makeBench() {
  return std::make_unique<BluezBench>();
}

std::unique_ptr<StackBench> makeStackBench(unsigned /*dice*/) {
  return std::make_unique<BluezBench>();
}

}  // namespace contract
