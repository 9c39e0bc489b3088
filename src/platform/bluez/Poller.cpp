#include "platform/bluez/Poller.h"

#include <poll.h>
#include <sys/timerfd.h>

#include <algorithm>

namespace platform::bluez {

Poller::Poller() : epoll_(epoll_create1(EPOLL_CLOEXEC)) {
  alarm_.timer = Descriptor(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK));
  watch(alarm_.timer.get(), alarm_, POLLIN);
}

void Poller::watch(int descriptor, Source& source, short events) {
  if (events == source.watched_) return;
  epoll_event wanted{};
  wanted.events = static_cast<std::uint16_t>(events);
  wanted.data.ptr = &source;
  if (source.watched_ == 0) {
    epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, descriptor, &wanted);
  } else if (events != 0) {
    epoll_ctl(epoll_.get(), EPOLL_CTL_MOD, descriptor, &wanted);
  } else {
    epoll_ctl(epoll_.get(), EPOLL_CTL_DEL, descriptor, nullptr);
    for (epoll_event& event : told_) {
      if (event.data.ptr == &source) event.data.ptr = nullptr;
    }
  }
  source.watched_ = events;
}

bool Poller::poll(Clock::time_point time, int timeOut) {
  if (time != alarm_.time) setAlarm(time);
  alarm_.hasRung = false;
  const int count =
      epoll_wait(epoll_.get(), found_.data(), static_cast<int>(found_.size()), timeOut);
  told_ = std::span(found_).first(static_cast<std::size_t>(std::max(count, 0)));
  for (const epoll_event& event : told_) {
    auto* source = static_cast<Source*>(event.data.ptr);
    if (source != nullptr) source->handle(static_cast<short>(event.events));
  }
  told_ = {};
  return alarm_.hasRung;
}

// Setting the timer also takes back that it had rung.
void Poller::setAlarm(Clock::time_point time) {
  using namespace std::chrono;
  alarm_.time = time;
  // A time of zero would be none.
  const nanoseconds sinceStart = std::max<nanoseconds>(time.time_since_epoch(), 1ns);
  const auto wholeSeconds = floor<seconds>(sinceStart);
  itimerspec setting{};
  setting.it_value.tv_sec = wholeSeconds.count();
  setting.it_value.tv_nsec = (sinceStart - wholeSeconds).count();
  timerfd_settime(alarm_.timer.get(), TFD_TIMER_ABSTIME, &setting, nullptr);
}

}  // namespace platform::bluez
