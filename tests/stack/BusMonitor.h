// Monitors the system bus: sees the calls of other programs to BlueZ and its errors, which an
// ordinary client does not.
#pragma once

#include <systemd/sd-bus.h>

#include <memory>

#include "Program.h"

namespace stack {

class BusMonitor {
 public:
  BusMonitor();  // throws std::system_error without a system bus

  // Waits until BlueZ answers a call with an error; false at the limit.
  bool waitForError(Limit limit = patience);

  // Waits until a program asks BlueZ for a link to a device; false at the limit.
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
