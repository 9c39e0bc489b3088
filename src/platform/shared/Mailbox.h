// What other threads ask of the main thread. post() may be called on any thread, the rest on the
// main thread.
#pragma once

#include <functional>
#include <mutex>
#include <vector>

namespace platform::shared {

class Mailbox {
 public:
  using Action = std::function<void()>;
  using Wake = std::function<void()>;

  // wake lets the main thread come to serve(). Called on the posting thread when the box was empty;
  // returns at once.
  explicit Mailbox(Wake wake) : wake_(std::move(wake)) {}
  Mailbox(const Mailbox&) = delete;
  Mailbox& operator=(const Mailbox&) = delete;

  // The action runs on the main thread, in the order of posting. Returns at once.
  void post(Action action);

  // Runs what has been posted. A wake-up that has to be reset is reset before the call, not after:
  // an action that is posted in between would otherwise wake nobody.
  void serve();

 private:
  Wake wake_;
  std::mutex mutex_;
  std::vector<Action> posted_;
};

}  // namespace platform::shared
