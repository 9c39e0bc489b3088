// Waits for descriptors and for a time. Main thread only.
#pragma once

#include <sys/epoll.h>

#include <array>
#include <memory>
#include <span>

#include "platform/bluez/Clock.h"
#include "platform/bluez/Descriptor.h"

namespace platform::bluez {

class Poller {
 public:
  class Source {
   public:
    virtual ~Source() = default;

    // events: POLLIN and so on, as reported by poll().
    virtual void handle(short events) = 0;

   private:
    friend class Poller;

    short watched_ = 0;
  };

  explicit Poller(std::unique_ptr<Clock> clock);
  Poller(const Poller&) = delete;
  Poller& operator=(const Poller&) = delete;

  // From now on calls the source while its descriptor is ready for one of these events, has failed
  // or is hung up. With no events the source is not called any more, not even for events that were
  // just found, and may be destroyed. A source has one descriptor, open while it is watched.
  void watch(int descriptor, Source& source, short events);

  // Waits until a source is ready or the time has come, and calls the sources that are ready;
  // look() does not wait. True when the time has come.
  bool waitUntil(Clock::TimePoint time) { return tell(clock_->wait(epoll_.get(), time, found_)); }
  bool look(Clock::TimePoint time) { return tell(clock_->look(epoll_.get(), time, found_)); }

  Clock& clock() { return *clock_; }

 private:
  bool tell(std::size_t count);

  std::unique_ptr<Clock> clock_;
  Descriptor epoll_;
  std::array<epoll_event, 32> found_;
  std::span<epoll_event> told_;  // the part of found_ that was filled last
};

}  // namespace platform::bluez
