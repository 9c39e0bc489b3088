// The requests on their way from whichever thread made them to the main thread.
#pragma once

#include <mutex>
#include <vector>

#include "platform/simulated/Request.h"

namespace platform::simulated {

class Mailbox {
 public:
  Mailbox();
  Mailbox(const Mailbox&) = delete;
  Mailbox& operator=(const Mailbox&) = delete;
  ~Mailbox();

  // Any thread.
  void post(Request request);

  // Main thread: replaces taken by what has come, in order.
  void take(std::vector<Request>& taken);

  // Readable while something has come that was not taken.
  int descriptor() const { return pipe_[0]; }

 private:
  std::mutex mutex_;
  std::vector<Request> requests_;
  int pipe_[2];
};

}  // namespace platform::simulated
