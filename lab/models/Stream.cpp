#include "lab/models/Stream.h"

namespace lab {

void Stream::setRate(double perSecond) {
  perSecond_ = perSecond;
  start_.reset();
}

void Stream::setCount(std::optional<std::uint32_t> count) {
  count_ = count;
  sentInRun_ = 0;
  start_.reset();
}

void Stream::run(bool running) {
  if (isRunning_ == running) return;
  isRunning_ = running;
  sentInRun_ = 0;
  start_.reset();
}

void Stream::advance(Microseconds now) {
  if (!isRunning_ || start_) return;
  start_ = now;
  paced_ = 0;
}

std::optional<Microseconds> Stream::dueAt() const {
  if (!isRunning_ || !start_ || perSecond_ <= 0) return std::nullopt;
  if (count_ && sentInRun_ >= *count_) return std::nullopt;
  return *start_ + Microseconds(static_cast<std::int64_t>(paced_ * 1e6 / perSecond_));
}

void Stream::sent() {
  ++paced_;
  ++sentInRun_;
  ++sequence_;
}

}  // namespace lab
