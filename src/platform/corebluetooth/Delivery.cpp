#include "platform/corebluetooth/Delivery.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <utility>

namespace platform::corebluetooth {

double currentDate() {
  return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

bool Delivery::resume(double date) {
  date_ = date;
  while (!kept_.empty() && waitForGate()) {
    const Call call = std::move(kept_.front());
    kept_.pop_front();
    call();
  }
  return kept_.empty();
}

void Delivery::deliver(Call call) {
  if (kept_.empty() && waitForGate()) return call();
  kept_.push_back(std::move(call));
}

// A descriptor whose reader is gone, or that cannot be waited for, counts as open.
bool Delivery::waitForGate() const {
  if (gate_ < 0) return true;
  pollfd gate{gate_, POLLOUT, 0};
  int ready = 0;
  do {
    constexpr double kLongest = 3600e3;  // milliseconds
    const double wait = std::clamp(std::ceil((date_ - currentDate()) * 1e3), 0.0, kLongest);
    ready = ::poll(&gate, 1, static_cast<int>(wait));
  } while (ready < 0 && errno == EINTR);
  return ready > 0;
}

}  // namespace platform::corebluetooth
