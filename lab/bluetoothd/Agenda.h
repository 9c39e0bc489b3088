// The events still to come, by the time when they are due; events of the same time happen in the
// order in which they were entered. Time is simulated: it advances only from one event to the next.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <utility>

#include "lab/DeviceModel.h"

namespace lab {

class Agenda {
 public:
  using Action = std::function<void()>;

  Microseconds now() const { return now_; }

  void at(Microseconds time, Action action) {
    entries_.emplace(std::pair(std::max(time, now_), ++count_), std::move(action));
  }
  void after(Microseconds delay, Action action) { at(now_ + delay, std::move(action)); }

  std::optional<Microseconds> next() const {
    return entries_.empty() ? std::nullopt : std::optional(entries_.begin()->first.first);
  }

  // Advances the time to the next event and carries it out.
  void doNext() {
    auto entry = entries_.extract(entries_.begin());
    now_ = entry.key().first;
    entry.mapped()();
  }

  // Advances the time. No event may be due before it.
  void passUntil(Microseconds time) { now_ = std::max(now_, time); }

 private:
  Microseconds now_{0};
  std::uint64_t count_ = 0;
  std::multimap<std::pair<Microseconds, std::uint64_t>, Action> entries_;
};

}  // namespace lab
