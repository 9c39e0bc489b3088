// Checks whether a text is JSON (RFC 8259), without decoding it.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace vornix_host::detail {

// Not recursive: keeps the open brackets in a string, so that a text of "[" alone needs no deep
// stack.
class Json {
 public:
  static bool is(std::string_view text) { return Json(text).isWhole(); }

 private:
  explicit Json(std::string_view text) : rest_(text) {}

  bool isWhole() {
    do {
      if (!beginsValue()) return false;
      if (!endsValues()) return false;
    } while (!open_.empty());
    return rest_.empty();
  }

  // Reads opening brackets, and then a simple value or the end of an empty array or object.
  bool beginsValue() {
    while (true) {
      skipBlanks();
      if (takes("{")) {
        skipBlanks();
        if (takes("}")) return true;
        open_ += '}';
        if (!key()) return false;
      } else if (takes("[")) {
        skipBlanks();
        if (takes("]")) return true;
        open_ += ']';
      } else {
        return string() || number() || takes("true") || takes("false") || takes("null");
      }
    }
  }

  // Reads the closing brackets after a value, and a comma if another value follows.
  bool endsValues() {
    skipBlanks();
    while (!open_.empty() && takes(std::string_view(&open_.back(), 1))) {
      open_.pop_back();
      skipBlanks();
    }
    if (open_.empty()) return true;
    return takes(",") && (open_.back() == ']' || key());
  }

  bool key() {
    skipBlanks();
    if (!string()) return false;
    skipBlanks();
    return takes(":");
  }

  bool string() {
    if (!takes("\"")) return false;
    while (!rest_.empty()) {
      const char character = rest_.front();
      rest_.remove_prefix(1);
      if (character == '"') return true;
      if (static_cast<unsigned char>(character) < 0x20) return false;
      if (character == '\\' && !escape()) return false;
    }
    return false;
  }

  bool escape() {
    if (takes("u")) return takesSome("0123456789abcdefABCDEF", 4) == 4;
    return takesSome("\"\\/bfnrt", 1) == 1;
  }

  bool number() {
    takes("-");
    if (!takes("0") && !takesDigits()) return false;
    if (takes(".") && !takesDigits()) return false;
    if (!takes("e") && !takes("E")) return true;
    takesSome("+-", 1);
    return takesDigits();
  }

  bool takesDigits() { return takesSome("0123456789", std::string_view::npos) > 0; }

  std::size_t takesSome(std::string_view characters, std::size_t most) {
    const std::size_t count = std::min(rest_.find_first_not_of(characters), rest_.size());
    rest_.remove_prefix(std::min(count, most));
    return std::min(count, most);
  }

  bool takes(std::string_view word) {
    if (!rest_.starts_with(word)) return false;
    rest_.remove_prefix(word.size());
    return true;
  }

  void skipBlanks() { takesSome(" \t\n\r", std::string_view::npos); }

  std::string_view rest_;
  std::string open_;  // the closing brackets of those that are open, the innermost last
};

}  // namespace vornix_host::detail
