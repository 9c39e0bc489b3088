#include "platform/bluez/SystemClock.h"

#include <sys/timerfd.h>

#include <algorithm>
#include <thread>

namespace platform::bluez {

SystemClock::SystemClock() : alarm_(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)) {}

Clock::TimePoint SystemClock::now() const {
  return std::chrono::steady_clock::now();
}

double SystemClock::date() const {
  return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

void SystemClock::sleep(std::chrono::microseconds duration) {
  std::this_thread::sleep_for(duration);
}

std::size_t SystemClock::wait(int epoll, TimePoint time, std::span<epoll_event> found) {
  return poll(epoll, time, found, -1);
}

std::size_t SystemClock::look(int epoll, TimePoint time, std::span<epoll_event> found) {
  return poll(epoll, time, found, 0);
}

std::size_t SystemClock::poll(int epoll, TimePoint time, std::span<epoll_event> found,
                              int timeOut) {
  if (epoll != epoll_) join(epoll);
  if (time != alarmTime_) setAlarm(time);
  const int count = epoll_wait(epoll, found.data(), static_cast<int>(found.size()), timeOut);
  return static_cast<std::size_t>(std::max(count, 0));
}

void SystemClock::join(int epoll) {
  epoll_event wanted{};
  wanted.events = EPOLLIN;
  epoll_ctl(epoll, EPOLL_CTL_ADD, alarm_.get(), &wanted);
  epoll_ = epoll;
}

// Setting the timer also resets it if it has already rung.
void SystemClock::setAlarm(TimePoint time) {
  using namespace std::chrono;
  alarmTime_ = time;
  // A time of zero would disarm the timer.
  const nanoseconds sinceStart = std::max<nanoseconds>(time.time_since_epoch(), 1ns);
  const auto wholeSeconds = floor<seconds>(sinceStart);
  itimerspec setting{};
  // Both have 32 bits on a 32-bit ARM; the seconds since the machine's start fit.
  setting.it_value.tv_sec = static_cast<time_t>(wholeSeconds.count());
  setting.it_value.tv_nsec = static_cast<long>((sinceStart - wholeSeconds).count());
  timerfd_settime(alarm_.get(), TFD_TIMER_ABSTIME, &setting, nullptr);
}

}  // namespace platform::bluez
