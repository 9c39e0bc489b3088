// The simulation's clock: driven by the run loop, or real.
#pragma once

#include <chrono>

#include "lab/simulated/Time.h"

namespace platform::simulated {

enum class TimeMode {
  driven,  // time advances only in runUntil and sleep, which do not wait
  real,
};

class Clock {
 public:
  explicit Clock(TimeMode mode) : mode_(mode), start_(std::chrono::steady_clock::now()) {}

  bool isDriven() const { return mode_ == TimeMode::driven; }
  Time now() const;
  void advanceTo(Time time);  // driven only; never goes back

  // Dates are seconds since 1 January 1970.
  double date() const;
  Time timeOf(double date) const;

  void sleep(Time duration);

 private:
  TimeMode mode_;
  Time driven_{0};
  std::chrono::steady_clock::time_point start_;
};

}  // namespace platform::simulated
