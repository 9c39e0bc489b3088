// Decides whether callbacks may be made: only while the bridge's output holds nothing back. Main
// thread only.
#pragma once

#include "platform/Platform.h"
#include "platform/bluez/Poller.h"

namespace platform::bluez {

class Gate final : private Poller::Source {
 public:
  explicit Gate(Poller& poller) : poller_(poller) {}

  // Follows this output from now on. Before, the gate is always open.
  void follow(Output& output);

  // Checks whether the gate is open. While it is shut, the poller lets out what is held back.
  bool opens();

 private:
  void handle(short events) override;

  Poller& poller_;
  Output* output_ = nullptr;
  bool isShut_ = false;  // at the last check
};

}  // namespace platform::bluez
