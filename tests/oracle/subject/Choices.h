// Decisions taken from bytes, of a fuzzer or of a generator of random numbers. When the bytes are
// used up every decision is the first.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace subject {

class Choices {
 public:
  explicit Choices(std::span<const std::uint8_t> bytes) : rest_(bytes) {}

  bool atEnd() const { return rest_.empty(); }

  std::uint8_t byte() {
    if (rest_.empty()) return 0;
    const std::uint8_t first = rest_.front();
    rest_ = rest_.subspan(1);
    return first;
  }

  std::size_t below(std::size_t bound) { return byte() % bound; }
  bool flag() { return byte() % 2 != 0; }

  // As many bytes, or those that there are.
  std::vector<std::uint8_t> bytes(std::size_t count) {
    const auto taken = rest_.first(std::min(count, rest_.size()));
    rest_ = rest_.subspan(taken.size());
    return {taken.begin(), taken.end()};
  }

  std::string text(std::size_t count) {
    const auto taken = bytes(count);
    return {taken.begin(), taken.end()};
  }

  std::string remainingText() { return text(rest_.size()); }

 private:
  std::span<const std::uint8_t> rest_;
};

}  // namespace subject
