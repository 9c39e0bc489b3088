// Makes choices by bytes that come from a fuzzer or a random generator. When the bytes are used up,
// every choice is the first one.
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

  // The next count bytes, or as many as are left.
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
