#include "platform/bluez/Gate.h"

#include <poll.h>

namespace platform::bluez {

void Gate::follow(Output& output) {
  if (isShut_) poller_.watch(output_->descriptor(), *this, 0);
  isShut_ = false;
  output_ = &output;
}

bool Gate::opens() {
  if (output_ == nullptr) return true;
  const bool isShut = output_->holdsBack();
  if (isShut != isShut_) {
    isShut_ = isShut;
    poller_.watch(output_->descriptor(), *this, isShut ? POLLOUT : 0);
  }
  return !isShut_;
}

void Gate::handle(short /*events*/) {
  output_->letOut();
}

}  // namespace platform::bluez
