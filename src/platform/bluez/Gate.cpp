#include "platform/bluez/Gate.h"

#include <poll.h>

namespace platform::bluez {

bool Gate::admits() {
  if (descriptor_ < 0) return true;
  if (credit_ == 0 && !isShut_) {
    pollfd output{descriptor_, POLLOUT, 0};
    poll(&output, 1, 0);
    answer(output.revents);
  }
  if (isShut_) return false;
  --credit_;
  return true;
}

// Error, hang-up and a closed descriptor all mean that nobody reads any more: nothing is gained by
// waiting, and the write that fails harms nobody.
void Gate::answer(short pollEvents) {
  isShut_ = (pollEvents & (POLLOUT | POLLERR | POLLHUP | POLLNVAL)) == 0;
  credit_ = isShut_ ? 0 : kCallbacksPerAnswer;
}

}  // namespace platform::bluez
