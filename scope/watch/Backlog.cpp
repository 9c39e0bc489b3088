#include "scope/watch/Backlog.h"

#include <algorithm>

namespace scope {

void Backlog::add(std::string text, std::uint64_t values) {
  text += '\n';
  {
    const std::lock_guard lock(mutex_);
    bytes_ += text.size();
    kept_.push_back({values_, std::make_shared<const std::string>(std::move(text))});
    values_ += values;
    while (bytes_ > mostBytes_ && kept_.size() > 1) {
      bytes_ -= kept_.front().text->size();
      kept_.pop_front();
      ++first_;
    }
  }
  didAdd_.notify_all();
}

Backlog::Line Backlog::get(std::uint64_t number, std::chrono::milliseconds patience) const {
  std::unique_lock lock(mutex_);
  const auto isThere = [&] { return number < first_ + kept_.size() || hasEnded_; };
  didAdd_.wait_for(lock, patience, isThere);
  number = std::max(number, first_);
  if (number >= first_ + kept_.size()) return {number, values_, nullptr};
  const Kept& kept = kept_[number - first_];
  return {number, kept.values, kept.text};
}

void Backlog::end() {
  {
    const std::lock_guard lock(mutex_);
    hasEnded_ = true;
  }
  didAdd_.notify_all();
}

bool Backlog::hasEnded() const {
  const std::lock_guard lock(mutex_);
  return hasEnded_;
}

std::uint64_t Backlog::next() const {
  const std::lock_guard lock(mutex_);
  return first_ + kept_.size();
}

}  // namespace scope
