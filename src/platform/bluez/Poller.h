// Waits for descriptors and for a time. One epoll with a timer beside the descriptors: a turn in
// which nothing changes but that a value has come is one system call, and sets up no time-out.
// Main thread only.
#pragma once

#include <sys/epoll.h>

#include <array>
#include <chrono>
#include <span>

#include "platform/bluez/Descriptor.h"

namespace platform::bluez {

class Poller {
 public:
  using Clock = std::chrono::steady_clock;

  class Source {
   public:
    virtual ~Source() = default;

    // events: as poll() has them.
    virtual void handle(short events) = 0;

   private:
    friend class Poller;

    short watched_ = 0;
  };

  Poller();
  Poller(const Poller&) = delete;
  Poller& operator=(const Poller&) = delete;

  // From now on the source is told while its descriptor is ready for one of these events, has
  // failed or is hung up. No events: it is told nothing more, not even what has just been found,
  // and may be destroyed. A source has one descriptor, open while it is watched.
  void watch(int descriptor, Source& source, short events);

  // Waits until a source is ready or the time has come, and tells the sources that are ready;
  // look() does not wait. True when the time has come.
  bool waitUntil(Clock::time_point time) { return poll(time, -1); }
  bool look(Clock::time_point time) { return poll(time, 0); }

 private:
  struct Alarm final : Source {
    void handle(short) override { hasRung = true; }

    Descriptor timer;
    Clock::time_point time = Clock::time_point::max();  // that the timer is set to
    bool hasRung = false;
  };

  bool poll(Clock::time_point time, int timeOut);
  void setAlarm(Clock::time_point time);

  Descriptor epoll_;
  Alarm alarm_;
  std::array<epoll_event, 32> found_;
  std::span<epoll_event> told_;  // of those, what is being told
};

}  // namespace platform::bluez
