#include "platform/bluez/Gate.h"

#include <poll.h>

namespace platform::bluez {

void Gate::follow(int descriptor) {
  if (isShut_) handle(0);
  credit_ = 0;
  descriptor_ = descriptor;
}

// Error, hang-up and a closed descriptor all mean that nobody reads any more: nothing is gained by
// waiting, and the write that fails harms nobody. They count as accepting.
bool Gate::admits() {
  if (descriptor_ < 0) return true;
  if (credit_ == 0 && !isShut_) {
    pollfd output{descriptor_, POLLOUT, 0};
    isShut_ = ::poll(&output, 1, 0) == 0;
    credit_ = kCallbacksPerAnswer;
    if (isShut_) poller_.watch(descriptor_, *this, POLLOUT);
  }
  if (isShut_) return false;
  --credit_;
  return true;
}

void Gate::handle(short /*events*/) {
  isShut_ = false;
  credit_ = kCallbacksPerAnswer;
  poller_.watch(descriptor_, *this, 0);
}

}  // namespace platform::bluez
