// Decides when a characteristic that streams sends its next value, and which.
#pragma once

#include <cstdint>
#include <optional>

#include "lab/DeviceModel.h"

namespace lab {

class Stream {
 public:
  explicit Stream(double perSecond) : perSecond_(perSecond) {}

  // How often a value is due, and how many in a run (nothing: no limit). Both restart the current
  // run.
  void setRate(double perSecond);
  void setCount(std::optional<std::uint32_t> count);

  // A run lasts from run(true) to run(false); the first value is due at its beginning.
  void run(bool running);

  // To be called with the current time before dueAt().
  void advance(Microseconds now);
  // When the next value is due; nothing when none will be.
  std::optional<Microseconds> dueAt() const;

  // The number of the next value, counted from 0 over all runs, so that a lost value shows.
  std::uint32_t sequence() const { return sequence_; }
  void sent();

 private:
  double perSecond_;
  std::optional<std::uint32_t> count_;
  bool isRunning_ = false;
  std::optional<Microseconds> start_;  // when the first value was due; paced_ counts from there
  std::uint32_t paced_ = 0;
  std::uint32_t sentInRun_ = 0;
  std::uint32_t sequence_ = 0;
};

}  // namespace lab
