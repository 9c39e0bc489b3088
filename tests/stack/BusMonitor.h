// Listens to everything on the system bus, answers between others included.
#pragma once

#include <systemd/sd-bus.h>

#include <memory>
#include <string>

#include "Program.h"

namespace stack {

class BusMonitor {
 public:
  BusMonitor();  // throws std::system_error without a system bus

  // True when somebody is answered with this D-Bus error from now on.
  bool waitForError(const std::string& name, Limit limit = patience);

 private:
  struct Close {
    void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
  };

  std::unique_ptr<sd_bus, Close> bus_;
};

}  // namespace stack
