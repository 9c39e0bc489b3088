// The real stack, piece by piece: the system bus, emulated controllers that hear one another,
// bluetoothd. The destructor ends the pieces in reverse order.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "BlueZ.h"
#include "Program.h"

namespace stack {

// The second number of bluetoothd's version: 66 of 5.66. 0 if it does not tell.
int versionOfBluetoothd();

class BluetoothStack {
 public:
  // folder: for the logs of the daemons. Starts the system bus if none runs; it then stays for the
  // whole life of the machine. Deletes what bluetoothd has stored.
  explicit BluetoothStack(std::filesystem::path folder);
  ~BluetoothStack();

  // Starts all three and waits until they are ready. controllers: hci0 for the bridge, and one for
  // each device.
  void start(int controllers, const std::vector<std::string>& bluetoothdOptions = {});

  void startControllers(int count);
  void removeControllers() { controllers_.reset(); }

  // Waits until bluetoothd has powered on hci0, if there are controllers.
  void startBluetoothd(const std::vector<std::string>& options = {});
  void killBluetoothd() { bluetoothd_.reset(); }
  // As the system ends it; returns when it has ended.
  void endBluetoothd();
  bool hasBluetoothdEnded() { return bluetoothd_->waitForEnd(Limit(0)); }
  void signalBluetoothd(int number) { bluetoothd_->sendSignal(number); }

  // bluez() cannot be used afterwards. The next stack starts another bus.
  void killBus();

  // Blocks the adapter by software (rfkill), as flight mode does. False where the kernel lacks
  // that.
  bool block(const std::string& adapter);

  // Configures the bus so that nobody may call methods of BlueZ any more.
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
