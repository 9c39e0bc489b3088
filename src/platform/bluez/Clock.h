// Tells the time and waits: the only place in this folder that does. The product has SystemClock; a
// test may hand the platform a clock of its own, in which a minute takes no time.
//
// A clock serves one loop. Main thread only.
#pragma once

#include <sys/epoll.h>

#include <chrono>
#include <cstddef>
#include <span>

namespace platform::bluez {

class Clock {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;
  using Duration = TimePoint::duration;

  Clock() = default;
  Clock(const Clock&) = delete;
  Clock& operator=(const Clock&) = delete;
  virtual ~Clock() = default;

  // Monotonic: it never goes back. Where it starts from means nothing.
  virtual TimePoint now() const = 0;

  // The date, in seconds since 1 January 1970. It may be set.
  virtual double date() const = 0;

  virtual void sleep(std::chrono::microseconds duration) = 0;

  // Waits until something that the epoll watches is ready, or the time has come; look() does not
  // wait. Returns how many events were found; one without a pointer says that the time has come.
  virtual std::size_t wait(int epoll, TimePoint time, std::span<epoll_event> found) = 0;
  virtual std::size_t look(int epoll, TimePoint time, std::span<epoll_event> found) = 0;
};

}  // namespace platform::bluez
