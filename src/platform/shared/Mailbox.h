// Passes actions from other threads to the main thread. post() may be called on any thread, the
// rest on the main thread.
#pragma once

#include <functional>
#include <mutex>
#include <vector>

namespace platform::shared {

class Mailbox {
 public:
  using Action = std::function<void()>;
  using Wake = std::function<void()>;

  // wake has to make the main thread call serve(). It is called on the posting thread when the box
  // was empty, and has to return at once.
  explicit Mailbox(Wake wake) : wake_(std::move(wake)) {}
  Mailbox(const Mailbox&) = delete;
  Mailbox& operator=(const Mailbox&) = delete;

  // Queues the action for the main thread, in the order of posting. Returns at once.
  void post(Action action);

  // Runs the posted actions. A wake-up that has to be reset must be reset before the call and not
  // after it: otherwise an action posted in between would wake nobody.
  void serve();

 private:
  Wake wake_;
  std::mutex mutex_;
  std::vector<Action> posted_;
};

}  // namespace platform::shared
