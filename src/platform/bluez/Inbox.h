// What other threads ask of the main thread. post() may be called on any thread, the rest on the
// main thread.
#pragma once

#include <functional>
#include <mutex>
#include <vector>

#include "platform/bluez/Descriptor.h"

namespace platform::bluez {

class Inbox {
 public:
  using Action = std::function<void()>;

  Inbox();

  // The action runs on the main thread, in the order of posting. Returns at once.
  void post(Action action);

  // Readable while something was posted that has not run.
  int descriptor() const { return wakeUp_.get(); }

  // Runs what was posted.
  void run();

 private:
  Descriptor wakeUp_;
  std::mutex mutex_;
  std::vector<Action> posted_;
};

}  // namespace platform::bluez
