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

    // events: as poll() has them.
    virtual void handle(short events) = 0;

   private:
    friend class Poller;

    short watched_ = 0;
  };

  explicit Poller(std::unique_ptr<Clock> clock);
  Poller(const Poller&) = delete;
  Poller& operator=(const Poller&) = delete;

  // From now on the source is told while its descriptor is ready for one of these events, has
  // failed or is hung up. No events: it is told nothing more, not even what has just been found,
  // and may be destroyed. A source has one descriptor, open while it is watched.
  void watch(int descriptor, Source& source, short events);

  // Waits until a source is ready or the time has come, and tells the sources that are ready;
  // look() does not wait. True when the time has come.
  bool waitUntil(Clock::TimePoint time) { return tell(clock_->wait(epoll_.get(), time, found_)); }
  bool look(Clock::TimePoint time) { return tell(clock_->look(epoll_.get(), time, found_)); }

  Clock& clock() { return *clock_; }

 private:
  bool tell(std::size_t count);

  std::unique_ptr<Clock> clock_;
  Descriptor epoll_;
  std::array<epoll_event, 32> found_;
  std::span<epoll_event> told_;  // of those, what was told last
};

}  // namespace platform::bluez
