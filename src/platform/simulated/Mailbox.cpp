#include "platform/simulated/Mailbox.h"

#include <unistd.h>

#include <cstdlib>
#include <utility>

namespace platform::simulated {

Mailbox::Mailbox() {
  if (::pipe(pipe_) != 0) std::abort();  // no descriptors left: nothing could ever be served
}

Mailbox::~Mailbox() {
  ::close(pipe_[0]);
  ::close(pipe_[1]);
}

void Mailbox::post(Request request) {
  const std::lock_guard lock(mutex_);
  requests_.push_back(std::move(request));
  if (requests_.size() > 1) return;
  // One byte stands for all that waits; the pipe has room, since take() empties it.
  const char byte = 0;
  while (::write(pipe_[1], &byte, 1) < 0) {
  }
}

void Mailbox::take(std::vector<Request>& taken) {
  taken.clear();
  const std::lock_guard lock(mutex_);
  if (requests_.empty()) return;
  std::swap(taken, requests_);
  char byte;
  while (::read(pipe_[0], &byte, 1) < 0) {
  }
}

}  // namespace platform::simulated
