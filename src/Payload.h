// Builds a host message: ASCII fields, each closed by ";", numbers in plain decimal. It is built in
// place within its line, so that it is framed without being copied. Messages of usual length need
// no allocation.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "HexDigits.h"
#include "TextBuffer.h"

class Payload {
 public:
  // start: the first fields, with their separators, such as "C;5;0;".
  explicit Payload(std::string_view start) {
    line_.append('<');
    line_.append(start);
  }

  template <std::integral Number>
  Payload& field(Number number) {
    return fields(std::span<const Number, 1>(&number, 1));
  }

  template <std::integral Number, std::size_t count>
  Payload& fields(std::span<const Number, count> numbers) {
    line_.appendDecimals(numbers, ';');
    return *this;
  }

  void append(std::string_view text) { line_.append(text); }
  void append(char character) { line_.append(character); }

  // Makes room for this many characters and returns their place.
  char* extend(std::size_t count) { return line_.extend(count); }

  operator std::string_view() const { return line_.view().substr(1); }

  // The whole line: "<", the payload, its checksum as four upper-case hexadecimal digits, ">" and a
  // line feed. The payload cannot be used afterwards.
  std::string_view framed(std::uint32_t checksum) {
    char* end = line_.extend(6);
    for (int shift = 12; shift >= 0; shift -= 4) *end++ = kHexDigits[checksum >> shift & 0x0F];
    *end++ = '>';
    *end = '\n';
    return line_.view();
  }

 private:
  TextBuffer line_;
};
