// Lets a test observe and change bluetoothd, over its own connection to the system bus.
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

  // Waits until the condition holds; false at the limit. It is checked after every signal of BlueZ
  // and of the bus.
  bool waitUntil(const std::function<bool()>& condition, Limit limit = patience);

  bool isRunning() const;

  // adapter: "hci0" and so on. Nothing when there is no such adapter.
  std::optional<bool> isPowered(const std::string& adapter) const;
  std::optional<bool> isDiscovering(const std::string& adapter) const;
  std::string address(const std::string& adapter) const;  // empty: no such adapter
  void setPowered(const std::string& adapter, bool powered) const;

  // As any other program that scans for devices.
  void setDiscovering(const std::string& adapter, bool discovering) const;

  // Its own name on the bus.
  std::string name() const;

  // The devices that BlueZ knows on the first adapter.
  std::vector<Device> devices() const;

  // Its object's; "" if there is none. Characteristics are named by 4 digits, or 36 characters.
  std::string pathOfCharacteristic(const std::string& uuid) const;

  // Whether a client has asked for the socket of this characteristic's values (AcquireNotify), and
  // it was not refused. bluetoothd's own subscription to a battery level has no socket.
  bool isAcquired(const std::string& uuid) const;

  // Asks for the socket of a characteristic's values. Returns the name of the error; "" for a
  // socket, which is closed again; kNoAnswer when none of the two comes.
  static constexpr char kNoAnswer[] = "no answer";
  std::string acquire(const std::string& uuid, Limit limit) const;

  // Discovers the one device in range and connects to it, as another program would; returns its
  // path.
  std::string connectDevice();

  // Whether provideBattery is possible: not with 5.55, nor without --experimental.
  bool takesBatteries() const;

  // Gives BlueZ the battery level of a device, as a program does that does not know it from the
  // device's GATT services. BlueZ (5.66, experimental) accepts it for a device that has been
  // connected. The level lasts as long as this object; a later call changes it.
  void provideBattery(const std::string& devicePath, std::uint8_t level);
  std::optional<std::uint8_t> batteryOf(const std::string& devicePath) const;

  // The process of the bus daemon.
  pid_t busProcess() const;

  // Makes the bus daemon read its configuration again.
  void reloadBusConfiguration() const;

 private:
  struct Close {
    void operator()(sd_bus* bus) const { sd_bus_flush_close_unref(bus); }
  };

  std::optional<bool> adapterFlag(const std::string& adapter, const char* property) const;

  Battery battery_;  // declared first, since the connection refers to it
  std::unique_ptr<sd_bus, Close> bus_;
};

}  // namespace stack
