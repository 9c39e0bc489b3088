// The scheduled events of the simulation, by time; events of the same time happen in the order in
// which they were entered. Main thread.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "lab/simulated/Time.h"

namespace platform::simulated {

class Timeline {
 public:
  using Action = std::function<void()>;

  // An event at kNever is not entered at all.
  void at(Time time, Action action);

  std::optional<Time> next() const;
  Action takeNext();

 private:
  struct Event {
    Time time;
    std::uint64_t order;
    Action action;
  };
  static bool later(const Event& a, const Event& b);

  std::vector<Event> heap_;
  std::uint64_t entered_ = 0;
};

}  // namespace platform::simulated
