// An action that is done a number of times at a steady rate.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <utility>

#include "Stamp.h"

namespace bench {

class Series {
 public:
  explicit Series(std::function<void(unsigned number)> once) : once_(std::move(once)) {}

  void start(unsigned perSecond, unsigned count, Clock::duration delay = {}) {
    perSecond_ = perSecond;
    count_ = count;
    done_ = 0;
    start_ = Clock::now() + delay;
  }

  bool isRunning() const { return done_ < count_; }

  Clock::time_point dueAt() const {
    return start_ + std::chrono::nanoseconds(std::int64_t{done_} * 1'000'000'000 / perSecond_);
  }

  void postpone(Clock::duration time) { start_ += time; }

  void advance(Clock::time_point now) {
    while (isRunning() && dueAt() <= now) once_(++done_);
  }

 private:
  std::function<void(unsigned)> once_;
  unsigned perSecond_ = 1;
  unsigned count_ = 0;
  unsigned done_ = 0;
  Clock::time_point start_;
};

}  // namespace bench
