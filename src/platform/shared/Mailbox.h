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

  // Runs what was posted before. A wake-up that stays readable until it is taken back is taken back
  // before this is called, so that none is lost.
  void serve();

 private:
  Wake wake_;
  std::mutex mutex_;
  std::vector<Action> posted_;
};

}  // namespace platform::shared
