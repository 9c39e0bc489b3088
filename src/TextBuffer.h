// Builds a text. A text of usual length is kept in the object itself, so that a streamed value
// needs no allocation; a longer one moves to the heap.
#pragma once

#include <algorithm>
#include <array>
#include <concepts>
#include <cstddef>
#include <cstring>
#include <memory>
#include <span>
#include <string_view>
#include <utility>

#include "Decimal.h"

class TextBuffer {
 public:
  TextBuffer() = default;
  TextBuffer(const TextBuffer&) = delete;
  TextBuffer& operator=(const TextBuffer&) = delete;

  // Makes room for this many more characters and returns their place; they count as written.
  char* extend(std::size_t count) {
    if (count > capacity_ - size_) grow(count);
    char* const added = begin_ + size_;
    size_ += count;
    return added;
  }

  void append(std::string_view text) { text.copy(extend(text.size()), text.size()); }

  void append(char character) { *extend(1) = character; }

  // Appends each number, followed by the character.
  template <std::integral Number, std::size_t count>
  void appendDecimals(std::span<const Number, count> numbers, char after) {
    char* next = extend(numbers.size() * (kLongestDecimal<Number> + 1));
    for (const Number number : numbers) {
      next = writeDecimal(next, number);
      *next++ = after;
    }
    size_ = static_cast<std::size_t>(next - begin_);
  }

  void clear() { size_ = 0; }

  std::string_view view() const { return {begin_, size_}; }

 private:
  // Enough for the line of a raw value of 514 bytes, the longest that a notification carries, in
  // hexadecimal.
  static constexpr std::size_t kUsual = 1100;

  void grow(std::size_t count) {
    const std::size_t capacity = std::max(2 * capacity_, size_ + count);
    auto larger = std::make_unique_for_overwrite<char[]>(capacity);
    std::memcpy(larger.get(), begin_, size_);
    heap_ = std::move(larger);
    begin_ = heap_.get();
    capacity_ = capacity;
  }

  std::array<char, kUsual> inline_;
  std::unique_ptr<char[]> heap_;
  char* begin_ = inline_.data();
  std::size_t size_ = 0;
  std::size_t capacity_ = kUsual;
};
