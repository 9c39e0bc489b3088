// The system's clock. The epoll descriptor also watches a timer, so that a wait that ends with a
// value is a single system call without a time-out.
#pragma once

#include "platform/bluez/Clock.h"
#include "platform/bluez/Descriptor.h"

namespace platform::bluez {

class SystemClock : public Clock {
 public:
  SystemClock();

  TimePoint now() const override;
  double date() const override;
  void sleep(std::chrono::microseconds duration) override;
  std::size_t wait(int epoll, TimePoint time, std::span<epoll_event> found) override;
  std::size_t look(int epoll, TimePoint time, std::span<epoll_event> found) override;

 private:
  std::size_t poll(int epoll, TimePoint time, std::span<epoll_event> found, int timeOut);
  void join(int epoll);
  void setAlarm(TimePoint time);

  Descriptor alarm_;
  TimePoint alarmTime_ = TimePoint::max();
  int epoll_ = -1;  // the epoll descriptor that watches the alarm
};

}  // namespace platform::bluez
