// Decodes a line. A payload has a known kind only if it is exactly what the bridge writes: all
// fields there, none too many, each number within its range.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "Fields.h"
#include "Line.h"
#include "Message.h"

namespace vornix_host {
namespace detail {

// A visitor for Form::visit that reads a payload: each call reads the next part.
class PayloadReader {
 public:
  explicit PayloadReader(std::string_view payload) : rest_(payload) {}

  bool isAtEnd() const { return rest_.empty(); }

  bool is(std::string_view text) {
    if (!rest_.starts_with(text)) return false;
    rest_.remove_prefix(text.size());
    return true;
  }

  template <typename Number>
  bool field(std::string_view /*name*/, Number& value, std::int64_t least, std::int64_t most) {
    const std::optional<std::int64_t> number = exactNumber<std::int64_t>(next());
    if (!number || *number < least || *number > most) return false;
    value = static_cast<Number>(*number);
    return true;
  }

  // absent: the number that stands for an unknown value, one less than the least value.
  template <typename Number>
  bool field(std::string_view name, std::optional<Number>& value, std::int64_t absent,
             std::int64_t most) {
    std::int64_t number = 0;
    if (!field(name, number, absent, most)) return false;
    if (number != absent) value = static_cast<Number>(number);
    return true;
  }

  bool field(std::string_view /*name*/, std::vector<std::uint8_t>& bytes) {
    const std::string_view digits = next();
    if (digits.size() % 2 != 0) return false;
    bytes.resize(digits.size() / 2);
    for (std::size_t i = 0; i < digits.size(); ++i) {
      const std::size_t digit = std::string_view("0123456789ABCDEF").find(digits[i]);
      if (digit == std::string_view::npos) return false;
      bytes[i / 2] = static_cast<std::uint8_t>(bytes[i / 2] << 4U | static_cast<int>(digit));
    }
    return true;
  }

  // The text may contain ";" itself: it ends before the payload's last character.
  bool field(std::string_view /*name*/, std::string& text) {
    if (rest_.empty()) return false;
    text = rest_.substr(0, rest_.size() - 1);
    rest_.remove_prefix(text.size());
    return true;
  }

 private:
  std::string_view next() {
    const std::string_view field = rest_.substr(0, rest_.find(';'));
    rest_.remove_prefix(field.size());
    return field;
  }

  std::string_view rest_;
};

template <typename Kind>
bool isRead(std::string_view payload, Message& message) {
  Kind kind;
  PayloadReader reader(payload);
  if (!Form<Kind>::visit(reader, kind) || !reader.isAtEnd()) return false;
  message = std::move(kind);
  return true;
}

template <typename... Kinds>
Message decoded(std::string_view payload, std::type_identity<std::variant<Kinds...>> /*kinds*/) {
  Message message;
  if ((isRead<Kinds>(payload, message) || ...)) return message;
  return UnknownMessage{std::string(payload)};
}

}  // namespace detail

// Decodes a payload without its frame and checksum.
inline Message decodePayload(std::string_view payload) {
  return detail::decoded(payload, std::type_identity<AnyOf<>>());
}

inline Message decode(const Line& line) {
  switch (line.kind) {
    case LineKind::log:
      return LogEntry{line.time, std::string(line.text)};
    case LineKind::message:
      return decodePayload(line.text);
    case LineKind::damaged:
      break;
  }
  return DamagedLine{std::string(line.bytes), line.mayBeDocument};
}

}  // namespace vornix_host
