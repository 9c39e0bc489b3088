#include "lab/simulated/Clock.h"

#include <algorithm>
#include <cmath>
#include <thread>

namespace platform::simulated {
namespace {

// An arbitrary but fixed date, so that every driven run has the same dates.
constexpr double kDrivenStart = 1'600'000'000.0;

}  // namespace

Time Clock::now() const {
  if (isDriven()) return driven_;
  return std::chrono::duration_cast<Time>(std::chrono::steady_clock::now() - start_);
}

void Clock::advanceTo(Time time) {
  driven_ = std::max(driven_, time);
}

double Clock::date() const {
  if (isDriven()) return kDrivenStart + std::chrono::duration<double>(driven_).count();
  const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration<double>(sinceEpoch).count();
}

Time Clock::timeOf(double date) const {
  // Real dates are converted by their distance from now, on the steady clock: a change of the
  // machine's date then does not move a deadline.
  const double seconds = isDriven() ? date - kDrivenStart : date - this->date();
  const Time offset{std::llround(std::clamp(seconds, -1e9, 1e9) * 1e6)};
  return isDriven() ? offset : now() + offset;
}

void Clock::sleep(Time duration) {
  if (isDriven()) {
    driven_ += duration;
  } else {
    std::this_thread::sleep_for(duration);
  }
}

}  // namespace platform::simulated
