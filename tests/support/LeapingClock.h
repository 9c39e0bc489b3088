// The system's clock, which a test can put forward, so that timers become due at once.
#pragma once

#include "platform/bluez/SystemClock.h"

namespace support {

class LeapingClock final : public platform::bluez::SystemClock {
 public:
  void leap(Duration duration) { leapt_ += duration; }

  TimePoint now() const override { return SystemClock::now() + leapt_; }
  double date() const override {
    return SystemClock::date() + std::chrono::duration<double>(leapt_).count();
  }
  void sleep(std::chrono::microseconds duration) override { leap(duration); }
  std::size_t wait(int epoll, TimePoint time, std::span<epoll_event> found) override {
    return SystemClock::wait(epoll, time - leapt_, found);
  }
  std::size_t look(int epoll, TimePoint time, std::span<epoll_event> found) override {
    return SystemClock::look(epoll, time - leapt_, found);
  }

 private:
  Duration leapt_{0};
};

}  // namespace support
