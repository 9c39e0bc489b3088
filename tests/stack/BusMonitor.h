// Monitors the system bus: sees the calls of other programs to BlueZ and its errors, which an
// ordinary client does not.
#pragma once

#include <systemd/sd-bus.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Program.h"

namespace stack {

class BusMonitor {
 public:
  // Sees what matches one of the rules. Throws std::system_error without a system bus.
  explicit BusMonitor(const std::vector<std::string>& rules);

  // Waits until BlueZ answers a call with an error; false at the limit.
  bool waitForError(Limit limit = patience);

  // Waits until a program asks BlueZ for a link to a device; false at the limit.
  bool waitForConnect(Limit limit = patience);

  // Waits until BlueZ says that a client has the socket of a characteristic's values, by its path;
  // false at the limit. Before that the characteristic is "acquired", as soon as a client has asked
  // for it, and values go nowhere.
  bool waitForSocket(const std::string& characteristic, Limit limit = patience);

  // Waits until a message is the one that is meant; false at the limit.
  using IsMeant = std::function<bool(sd_bus_message* message)>;
  bool waitFor(const IsMeant& isMeant, Limit limit = patience);

 private:
  struct Close {
    void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
  };

  std::unique_ptr<sd_bus, Close> bus_;
};

}  // namespace stack
