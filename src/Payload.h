// The text of a host message being put together: ASCII fields, each closed by ";", numbers in plain
// decimal. Messages of usual length are built without an allocation.
#pragma once

#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory_resource>
#include <string>
#include <string_view>

class Payload {
 public:
  // start: the first fields, with their separators, such as "C;5;0;".
  explicit Payload(std::string_view start) {
    text_.reserve(kUsualLength);
    text_ += start;
  }

  Payload& field(std::int64_t number) {
    std::array<char, std::numeric_limits<std::int64_t>::digits10 + 2> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    text_.append(digits.data(), end);
    text_ += ';';
    return *this;
  }

  std::pmr::string& text() { return text_; }
  operator std::string_view() const { return text_; }

 private:
  // A raw signal value of 514 bytes, the longest that a notification carries, in hexadecimal.
  static constexpr std::size_t kUsualLength = 1100;

  std::array<std::byte, kUsualLength + 1> arena_;
  std::pmr::monotonic_buffer_resource memory_{arena_.data(), arena_.size()};
  std::pmr::string text_{&memory_};
};
