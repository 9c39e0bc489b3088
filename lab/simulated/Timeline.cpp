#include "lab/simulated/Timeline.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace platform::simulated {

bool Timeline::later(const Event& a, const Event& b) {
  return std::tie(a.time, a.order) > std::tie(b.time, b.order);
}

void Timeline::at(Time time, Action action) {
  if (time == kNever) return;
  heap_.push_back({time, entered_++, std::move(action)});
  std::push_heap(heap_.begin(), heap_.end(), later);
}

std::optional<Time> Timeline::next() const {
  if (heap_.empty()) return std::nullopt;
  return heap_.front().time;
}

Timeline::Action Timeline::takeNext() {
  std::pop_heap(heap_.begin(), heap_.end(), later);
  Action action = std::move(heap_.back().action);
  heap_.pop_back();
  return action;
}

}  // namespace platform::simulated
