// What other threads ask of the main thread. post() may be called on any thread, the rest on the
// main thread.
#pragma once

#include <functional>
#include <mutex>
#include <vector>

#include "platform/bluez/Descriptor.h"
#include "platform/bluez/Poller.h"

namespace platform::bluez {

class Inbox final : private Poller::Source {
 public:
  using Action = std::function<void()>;

  explicit Inbox(Poller& poller);

  // The action runs on the main thread, in the order of posting. Returns at once.
  void post(Action action);

 private:
  // Runs what was posted.
  void handle(short events) override;

  Descriptor wakeUp_;
  std::mutex mutex_;
  std::vector<Action> posted_;
};

}  // namespace platform::bluez
