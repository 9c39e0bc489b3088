// A clock that stands still while there is anything to do, and then jumps to the time that is
// waited for: an hour passes at once, and a test knows the time of everything that happens.
#pragma once

#include <algorithm>
#include <functional>
#include <utility>

#include "platform/bluez/Clock.h"

namespace support {

class JumpingClock final : public platform::bluez::Clock {
 public:
  // While isAwaiting returns true, something is about to come from another process: the clock then
  // waits for it, up to 20 s of real time, before it jumps.
  void setIsAwaiting(std::function<bool()> isAwaiting) { isAwaiting_ = std::move(isAwaiting); }

  // Called once, when there is nothing to do, before the clock jumps.
  void setOnRest(std::function<void()> onRest) { onRest_ = std::move(onRest); }

  // How often wait() or look() polled. After many polls the time goes on by itself, so that a loop
  // that always has something to do ends as well.
  int polls() const { return polls_; }

  TimePoint now() const override { return now_; }
  double date() const override {
    return std::chrono::duration<double>(now_.time_since_epoch()).count();
  }
  void sleep(std::chrono::microseconds duration) override { now_ += duration; }

  std::size_t wait(int epoll, TimePoint time, std::span<epoll_event> found) override {
    std::size_t count = find(epoll, isAwaiting_() ? 20'000 : 0, time, found);
    if (count == 0 && onRest_) {
      std::exchange(onRest_, nullptr)();
      count = find(epoll, 0, time, found);
    }
    if (count > 0) return count;
    now_ = time;
    return tellTheTime(found);
  }
  std::size_t look(int epoll, TimePoint time, std::span<epoll_event> found) override {
    return find(epoll, 0, time, found);
  }

 private:
  std::size_t find(int epoll, int timeOut, TimePoint time, std::span<epoll_event> found) {
    constexpr int kTooMany = 100'000;
    if (++polls_ > kTooMany) now_ += std::chrono::hours(1);
    const bool isTime = time <= now_;
    const std::span<epoll_event> rest = isTime ? found.subspan(1) : found;
    const int count =
        epoll_wait(epoll, rest.data(), static_cast<int>(rest.size()), isTime ? 0 : timeOut);
    return static_cast<std::size_t>(std::max(count, 0)) + (isTime ? tellTheTime(found) : 0);
  }
  static std::size_t tellTheTime(std::span<epoll_event> found) {
    found[0] = {};
    return 1;
  }

  TimePoint now_{std::chrono::hours(1)};
  int polls_ = 0;
  std::function<void()> onRest_;
  std::function<bool()> isAwaiting_ = [] { return false; };
};

}  // namespace support
