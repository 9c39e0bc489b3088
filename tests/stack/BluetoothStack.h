// The real stack, piece by piece: the system bus, controllers that hear one another, bluetoothd.
// Each piece goes down with the object, the last one started first.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "BlueZ.h"
#include "Program.h"

namespace stack {

class BluetoothStack {
 public:
  // Logs of the daemons go to this folder. Starts the system bus where none runs yet, which then
  // stays for the whole life of the machine; bluetoothd remembers nothing.
  explicit BluetoothStack(std::filesystem::path folder);
  ~BluetoothStack();

  // All three, and ready: hci0 for the bridge, one more for each device.
  void start(int controllers, const std::vector<std::string>& bluetoothdOptions = {});

  void startControllers(int count);
  void removeControllers() { controllers_.reset(); }

  // Ready when it has powered on hci0, if there are controllers.
  void startBluetoothd(const std::vector<std::string>& options = {});
  void killBluetoothd() { bluetoothd_.reset(); }
  void signalBluetoothd(int number) { bluetoothd_->sendSignal(number); }

  // bluez() is of no use from then on. The next stack starts another bus.
  void killBus();

  // By software, as a key for flight mode does it. False where the kernel has no such thing.
  bool block(const std::string& adapter);

  // From now on nobody may call methods of BlueZ.
  void denyAccess();

  BlueZ& bluez() { return *bluez_; }

 private:
  void waitForAdapter(int index);

  std::filesystem::path folder_;
  std::optional<BlueZ> bluez_;
  std::optional<Program> controllers_;
  std::optional<Program> bluetoothd_;
};

}  // namespace stack
