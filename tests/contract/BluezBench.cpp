// The bench of the BlueZ implementation, for the virtual machine: hci0 is the machine's radio, and
// devices on controllers of their own are what it hears. Every test has a bluetoothd that has just
// started and remembers nothing.
#include "contract/Bench.h"
#include "contract/LabAir.h"
#include "stack/BluetoothStack.h"

namespace contract {
namespace {

constexpr char kFolder[] = "/run";  // where logs go
constexpr char kAdapter[] = "hci0";
constexpr int kControllers = 3;

// For as long as the program runs.
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

  // bluetoothd goes before the devices do: Linux 6.1 was seen to fail (in hci_chan_del) where it
  // lets go of a link that is already down.
  ~BluezBench() override {
    platform_.reset();
    stack_.killBluetoothd();
    air_.takeBackAll();
  }

  platform::Platform& platform() override { return *platform_; }
  void restartPlatform() override {
    platform_.reset();
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
