// bluetoothd and the bus daemon in the virtual machine. Adds no match rule to the bus, so that the
// benchmark itself receives nothing while values come.
#pragma once

#include <sys/types.h>
#include <systemd/sd-bus.h>

#include <string>
#include <vector>

namespace bench {

class Stack {
 public:
  // Throws std::runtime_error without a system bus or bluetoothd.
  Stack();
  Stack(const Stack&) = delete;
  Stack& operator=(const Stack&) = delete;
  ~Stack() { sd_bus_flush_close_unref(bus_); }

  pid_t bluetoothd() const { return processOf("org.bluez"); }
  pid_t busDaemon() const { return processOf("org.freedesktop.DBus"); }

  bool isPowered(const std::string& adapter) const;

  // Ends all links and removes all devices, so that the next client begins like the first.
  void forgetDevices() const;

 private:
  pid_t processOf(const char* name) const;
  std::vector<std::string> devices() const;

  sd_bus* bus_ = nullptr;
};

}  // namespace bench
