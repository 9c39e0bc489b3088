#include "platform/bluez/Poller.h"

#include <algorithm>

namespace platform::bluez {

Poller::Poller(std::unique_ptr<Clock> clock)
    : clock_(std::move(clock)), epoll_(epoll_create1(EPOLL_CLOEXEC)) {}

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

bool Poller::tell(std::size_t count) {
  told_ = std::span(found_).first(count);
  const auto isTheTime = [](const epoll_event& event) { return event.data.ptr == nullptr; };
  const bool isTime = std::ranges::any_of(told_, isTheTime);
  for (const epoll_event& event : told_) {
    auto* source = static_cast<Source*>(event.data.ptr);
    if (source != nullptr) source->handle(static_cast<short>(event.events));
  }
  return isTime;
}

}  // namespace platform::bluez
