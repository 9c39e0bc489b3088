// Sees what others ask of BlueZ and what it refuses them, which no ordinary client of the system
// bus does.
#pragma once

#include <systemd/sd-bus.h>

#include <memory>

#include "Program.h"

namespace stack {

class BusMonitor {
 public:
  BusMonitor();  // throws std::system_error without a system bus

  // True when BlueZ answers anybody's call with an error.
  bool waitForError(Limit limit = patience);

  // True when anybody asks BlueZ for a link to a device.
  bool waitForConnect(Limit limit = patience);

 private:
  using IsMeant = bool (*)(sd_bus_message* message);

  bool waitFor(IsMeant isMeant, Limit limit);

  struct Close {
    void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
  };

  std::unique_ptr<sd_bus, Close> bus_;
};

}  // namespace stack
