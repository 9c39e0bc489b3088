#include "BluetoothStack.h"

#include <csignal>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <utility>

namespace stack {
namespace {

namespace fs = std::filesystem;

const fs::path busSocket = "/run/dbus/system_bus_socket";
const fs::path localBusPolicy = "/etc/dbus-1/system-local.conf";
const fs::path memory = "/var/lib/bluetooth";

void require(bool condition, const std::string& what) {
  if (!condition) throw std::runtime_error("the Bluetooth stack does not come up: " + what);
}

}  // namespace

int versionOfBluetoothd() {
  int version = 0;
  FILE* told = ::popen("/usr/libexec/bluetooth/bluetoothd --version", "r");
  if (told != nullptr) {
    if (std::fscanf(told, "5.%d", &version) != 1) version = 0;
    ::pclose(told);
  }
  return version;
}

BluetoothStack::BluetoothStack(fs::path folder) : folder_(std::move(folder)) {
  if (!fs::exists(busSocket)) {
    // dbus-daemon forks; the first process ends when the bus can be used.
    Program bus({"/usr/bin/dbus-daemon", "--system", "--fork", "--nopidfile"}, folder_ / "bus.log");
    require(bus.waitForEnd() && fs::exists(busSocket), "no system bus");
  }
  for (const fs::directory_entry& entry : fs::directory_iterator(memory)) {
    fs::remove_all(entry.path());
  }
  bluez_.emplace();
}

BluetoothStack::~BluetoothStack() {
  if (fs::remove(localBusPolicy)) bluez_->reloadBusConfiguration();
}

void BluetoothStack::start(int controllers, const std::vector<std::string>& bluetoothdOptions) {
  startControllers(controllers);
  startBluetoothd(bluetoothdOptions);
  // A device that opened its controller before bluetoothd has powered it on would lose it again.
  for (int index = 1; index < controllers; ++index) waitForAdapter(index);
}

void BluetoothStack::startControllers(int count) {
  controllers_.emplace(
      std::vector<std::string>{"/usr/bin/btvirt", "-L", "-l" + std::to_string(count)},
      folder_ / "btvirt.log");
}

void BluetoothStack::startBluetoothd(const std::vector<std::string>& options) {
  std::vector<std::string> command{"/usr/libexec/bluetooth/bluetoothd", "-n"};
  command.insert(command.end(), options.begin(), options.end());
  bluetoothd_.emplace(command, folder_ / "bluetoothd.log");
  require(bluez_->waitUntil([this] { return bluez_->isRunning(); }), "no bluetoothd");
  if (controllers_) waitForAdapter(0);
}

void BluetoothStack::endBluetoothd() {
  bluetoothd_->sendSignal(SIGTERM);
  require(bluetoothd_->waitForEnd(), "bluetoothd does not end");
}

void BluetoothStack::waitForAdapter(int index) {
  const std::string adapter = "hci" + std::to_string(index);
  const auto isOn = [&] { return bluez_->isPowered(adapter).value_or(false); };
  require(bluez_->waitUntil(isOn), adapter + " is not powered on");
}

void BluetoothStack::killBus() {
  const pid_t bus = bluez_->busProcess();
  fs::remove(busSocket);
  require(::kill(bus, SIGKILL) == 0, "the bus cannot be killed");
}

bool BluetoothStack::block(const std::string& adapter) {
  for (const auto& entry : fs::directory_iterator("/sys/class/bluetooth/" + adapter)) {
    if (!entry.path().filename().string().starts_with("rfkill")) continue;
    std::ofstream(entry.path() / "soft") << 1;
    return true;
  }
  return false;
}

void BluetoothStack::denyAccess() {
  std::ofstream(localBusPolicy) << R"(<busconfig>
  <policy context="mandatory">
    <deny send_destination="org.bluez"/>
  </policy>
</busconfig>
)";
  bluez_->reloadBusConfiguration();
}

}  // namespace stack
