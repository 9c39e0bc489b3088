// The system's clock. A timer stands in the epoll beside the descriptors: a wait in which nothing
// changes but that a value has come is one system call, and sets up no time-out.
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
  int epoll_ = -1;  // that has the alarm
};

}  // namespace platform::bluez
