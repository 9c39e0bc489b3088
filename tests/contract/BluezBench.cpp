// The bench of the BlueZ implementation: bluetoothd with hci0 as the machine's radio, and devices
// on controllers of their own that it hears.
#include <systemd/sd-bus.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "contract/Bench.h"
#include "contract/LabAir.h"

namespace contract {
namespace {

constexpr char kService[] = "org.bluez";
constexpr char kAdapter[] = "/org/bluez/hci0";
constexpr char kAdapterInterface[] = "org.bluez.Adapter1";

class SystemBus {
 public:
  SystemBus() {
    if (sd_bus_open_system(&bus_) < 0) throw std::runtime_error("no system bus");
    const auto ignore = [](sd_bus_message*, void*, sd_bus_error*) { return 0; };
    sd_bus_add_match(bus_, nullptr, "type='signal',sender='org.bluez'", ignore, nullptr);
  }
  SystemBus(const SystemBus&) = delete;
  SystemBus& operator=(const SystemBus&) = delete;
  ~SystemBus() { sd_bus_flush_close_unref(bus_); }

  void setPowered(bool powered) {
    sd_bus_error error = SD_BUS_ERROR_NULL;
    const int result = sd_bus_set_property(bus_, kService, kAdapter, kAdapterInterface, "Powered",
                                           &error, "b", static_cast<int>(powered));
    const std::string reason = error.message != nullptr ? error.message : std::strerror(-result);
    sd_bus_error_free(&error);
    if (result < 0) throw std::runtime_error("the adapter does not obey: " + reason);
  }

  // Whatever bluetoothd remembers of it; it may know nothing. The device has ended its link by
  // then: bluetoothd 5.66 was seen to crash when a device was removed that had refused a
  // subscription on a link still up.
  void forget(std::string address) {
    std::replace(address.begin(), address.end(), ':', '_');
    const std::string path = std::string(kAdapter) + "/dev_" + address;
    while (isConnected(path)) {
      if (sd_bus_process(bus_, nullptr) == 0) sd_bus_wait(bus_, kLongestWait);
    }
    sd_bus_call_method(bus_, kService, kAdapter, kAdapterInterface, "RemoveDevice", nullptr,
                       nullptr, "o", path.c_str());
  }

 private:
  static constexpr std::uint64_t kLongestWait = 1'000'000;  // microseconds

  bool isConnected(const std::string& path) {
    int connected = 0;
    const int result = sd_bus_get_property_trivial(
        bus_, kService, path.c_str(), "org.bluez.Device1", "Connected", nullptr, 'b', &connected);
    return result >= 0 && connected != 0;
  }

  sd_bus* bus_ = nullptr;
};

class BluezBench final : public Bench {
 public:
  BluezBench() {
    bus_.setPowered(true);
    forgetDevices();
  }

  ~BluezBench() override {
    platform_.reset();
    air_.takeBackAll();
    forgetDevices();
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

  void setPowered(bool powered) override { bus_.setPowered(powered); }
  void onDevices(const std::function<void()>& action) override { air_.run(action); }
  double settlingTime() const override { return 1.5; }

 private:
  void forgetDevices() {
    for (const std::string& address : air_.addresses()) bus_.forget(address);
    // Names outlive RemoveDevice there, and would be known before they are advertised.
    for (const auto& adapter : std::filesystem::directory_iterator("/var/lib/bluetooth")) {
      std::filesystem::remove_all(adapter.path() / "cache");
    }
  }

  SystemBus bus_;
  LabAir& air_ = LabAir::get();
  std::unique_ptr<platform::Platform> platform_ = platform::makePlatform();
};

}  // namespace

std::unique_ptr<Bench> makeBench() {
  return std::make_unique<BluezBench>();
}

}  // namespace contract
