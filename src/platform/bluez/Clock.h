// The only place in this folder that reads the time or waits. The product uses SystemClock; a test
// may give the platform a clock of its own, in which a minute passes at once.
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

  // Monotonic, from an arbitrary start.
  virtual TimePoint now() const = 0;

  // The date, in seconds since 1 January 1970. It may jump.
  virtual double date() const = 0;

  virtual void sleep(std::chrono::microseconds duration) = 0;

  // Waits until an event of the epoll descriptor, or until the time has come; look() does not wait.
  // Returns the number of events found; one whose pointer is null means that the time has come.
  virtual std::size_t wait(int epoll, TimePoint time, std::span<epoll_event> found) = 0;
  virtual std::size_t look(int epoll, TimePoint time, std::span<epoll_event> found) = 0;
};

}  // namespace platform::bluez
