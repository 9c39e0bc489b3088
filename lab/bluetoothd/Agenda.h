// What is to happen, by the time when it is due; what is due at the same time happens in the order
// in which it was entered. Time goes on only from one entry to the next.
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

  // Does what comes next, and lets the time until then pass.
  void doNext() {
    auto entry = entries_.extract(entries_.begin());
    now_ = entry.key().first;
    entry.mapped()();
  }

  // Lets time pass. Nothing may be due before.
  void passUntil(Microseconds time) { now_ = std::max(now_, time); }

 private:
  Microseconds now_{0};
  std::uint64_t count_ = 0;
  std::multimap<std::pair<Microseconds, std::uint64_t>, Action> entries_;
};

}  // namespace lab
