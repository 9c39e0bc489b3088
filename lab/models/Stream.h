// The pace of a characteristic that sends one value after another.
#pragma once

#include <cstdint>
#include <optional>

#include "lab/DeviceModel.h"

namespace lab {

class Stream {
 public:
  explicit Stream(double perSecond) : perSecond_(perSecond) {}

  // How often, and how many per run (nothing: without end). Take effect from now on, a run that is
  // under way begins anew.
  void setRate(double perSecond);
  void setCount(std::optional<std::uint32_t> count);

  // A run lasts from run(true) to run(false); the first value is due at its beginning.
  void run(bool running);

  // Called with the time before dueAt() is asked for.
  void advance(Microseconds now);
  // When the next value is due; nothing when none will be.
  std::optional<Microseconds> dueAt() const;

  // Numbers the values from 0, over all runs, so that a lost one is visible.
  std::uint32_t sequence() const { return sequence_; }
  void sent();

 private:
  double perSecond_;
  std::optional<std::uint32_t> count_;
  bool isRunning_ = false;
  std::optional<Microseconds> start_;  // of the run; values are counted from there
  std::uint32_t paced_ = 0;
  std::uint32_t sentInRun_ = 0;
  std::uint32_t sequence_ = 0;
};

}  // namespace lab
