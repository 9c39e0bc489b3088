// The text of a host message being put together: ASCII fields, each closed by ";", numbers in plain
// decimal. Messages of usual length are built without an allocation.
#pragma once

#include <concepts>
#include <string_view>

#include "TextBuffer.h"

class Payload {
 public:
  // start: the first fields, with their separators, such as "C;5;0;".
  explicit Payload(std::string_view start) { text_.append(start); }

  Payload& field(std::integral auto number) {
    text_.appendDecimal(number);
    text_.append(';');
    return *this;
  }

  TextBuffer& text() { return text_; }
  operator std::string_view() const { return text_.view(); }

 private:
  TextBuffer text_;
};
