// The way to the main thread: calls posted by any thread, made from the run loop in the order in
// which they were posted.
#pragma once

#include <deque>
#include <functional>
#include <mutex>

#include "platform/corebluetooth/Retained.h"

@class VornixMailbox;

namespace platform::corebluetooth {

class Mailbox {
 public:
  using Call = std::function<void()>;

  Mailbox();
  Mailbox(const Mailbox&) = delete;
  Mailbox& operator=(const Mailbox&) = delete;
  ~Mailbox();

  // Any thread; returns at once.
  void post(Call call);

  // Main thread.
  void serve();

 private:
  Retained<VornixMailbox*> native_;
  std::mutex mutex_;
  std::deque<Call> calls_;
};

}  // namespace platform::corebluetooth
