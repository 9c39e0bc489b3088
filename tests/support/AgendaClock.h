// Gives the BlueZ platform the time of the simulated bluetoothd's agenda. Where the platform would
// wait, the next event on the agenda happens.
#pragma once

#include <span>

#include "lab/bluetoothd/Agenda.h"
#include "lab/bluetoothd/MessageBus.h"
#include "platform/bluez/Clock.h"

namespace support {

class AgendaClock final : public platform::bluez::Clock {
 public:
  AgendaClock(lab::Agenda& agenda, lab::MessageBus& bus) : agenda_(agenda), bus_(bus) {}

  TimePoint now() const override { return TimePoint(agenda_.now() + kHead); }
  double date() const override {
    return std::chrono::duration<double>(agenda_.now() + kHead).count();
  }
  void sleep(std::chrono::microseconds duration) override {
    const lab::Microseconds end = agenda_.now() + duration;
    while (agenda_.now() < end) step(end);
  }
  std::size_t wait(int epoll, TimePoint time, std::span<epoll_event> found) override {
    for (;;) {
      const std::size_t count = look(epoll, time, found);
      if (count > 0) return count;
      step(agendaTime(time));
    }
  }
  std::size_t look(int epoll, TimePoint time, std::span<epoll_event> found) override {
    bus_.serve();
    const int count = epoll_wait(epoll, found.data(), static_cast<int>(found.size()), 0);
    if (count > 0) return static_cast<std::size_t>(count);
    if (agenda_.now() < agendaTime(time)) return 0;
    found[0] = {};
    return 1;
  }

 private:
  static constexpr lab::Microseconds kHead = std::chrono::seconds(1000);  // keeps times above 0

  static lab::Microseconds agendaTime(TimePoint time) {
    return std::chrono::ceil<lab::Microseconds>(time.time_since_epoch()) - kHead;
  }

  void step(lab::Microseconds limit) {
    const auto next = agenda_.next();
    if (next && *next <= limit) {
      agenda_.doNext();
    } else {
      agenda_.passUntil(limit);
    }
  }

  lab::Agenda& agenda_;
  lab::MessageBus& bus_;
};

}  // namespace support
