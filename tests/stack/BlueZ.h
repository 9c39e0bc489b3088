// What a test sees and changes of bluetoothd, over a connection to the system bus of its own.
#pragma once

#include <sys/types.h>
#include <systemd/sd-bus.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Program.h"

namespace stack {

struct Device {
  std::string path;
  std::string name;  // empty: BlueZ knows none
  bool connected = false;
};

struct Battery {
  std::string device;
  std::uint8_t level = 0;
};

class BlueZ {
 public:
  BlueZ();  // throws std::system_error without a system bus

  // True as soon as the condition is; it is asked again after every signal of BlueZ and of the bus.
  bool waitUntil(const std::function<bool()>& condition, Limit limit = patience);

  bool isRunning() const;

  // Of the adapter "hci0" and so on; nothing when there is no such adapter.
  std::optional<bool> isPowered(const std::string& adapter) const;
  std::optional<bool> isDiscovering(const std::string& adapter) const;
  std::string address(const std::string& adapter) const;  // empty: no such adapter
  void setPowered(const std::string& adapter, bool powered) const;

  // As the first controller knows them.
  std::vector<Device> devices() const;

  // A client has AcquireNotify's socket of this characteristic (4 digits, or 36 characters).
  // bluetoothd's own subscription to a battery level is not of that kind.
  bool isAcquired(const std::string& uuid) const;

  // Finds the one device in range and connects to it, as another program would; its path.
  std::string connectDevice();

  // Tells BlueZ the battery level of a device, as a program does that knows it by other means than
  // the device's GATT services. BlueZ (5.66, experimental) takes it for a device that has been
  // connected. Lasts as long as this object; a later call changes the level.
  void provideBattery(const std::string& devicePath, std::uint8_t level);
  std::optional<std::uint8_t> batteryOf(const std::string& devicePath) const;

  // Of the bus's daemon.
  pid_t busProcess() const;

  // Makes the bus read its configuration anew.
  void reloadBusConfiguration() const;

 private:
  struct Close {
    void operator()(sd_bus* bus) const { sd_bus_flush_close_unref(bus); }
  };

  std::optional<bool> adapterFlag(const std::string& adapter, const char* property) const;

  Battery battery_;  // outlives the connection that shows it
  std::unique_ptr<sd_bus, Close> bus_;
};

}  // namespace stack
