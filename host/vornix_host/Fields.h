// The fields of a host message's payload, each closed by ";": "C;3;0;" has "C", "3" and "0". The
// first one, or the first two, name the kind. Not for "PJSON;", whose text may contain ";" itself.
#pragma once

#include <array>
#include <charconv>
#include <concepts>
#include <cstddef>
#include <optional>
#include <string_view>
#include <system_error>

namespace vornix_host {
namespace detail {

// The text as a number, if it is written exactly as the bridge writes numbers.
template <std::integral Number>
std::optional<Number> exactNumber(std::string_view text) {
  Number value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  const std::string_view magnitude = text.front() == '-' ? text.substr(1) : text;
  if (magnitude.front() == '0' && text.size() > 1) return std::nullopt;
  return value;
}

}  // namespace detail

// Views into the payload, valid as long as its bytes are.
class Fields {
 public:
  static constexpr std::size_t most = 16;

  // A payload whose last field is not closed, or that has more than `most` fields, gives no fields.
  explicit constexpr Fields(std::string_view payload) {
    while (!payload.empty()) {
      const std::size_t end = payload.find(';');
      if (end == std::string_view::npos || count_ == most) {
        *this = Fields({});
        return;
      }
      fields_[count_++] = payload.substr(0, end);
      payload.remove_prefix(end + 1);
    }
  }

  constexpr std::size_t size() const { return count_; }

  // Empty for an index after the last field.
  constexpr std::string_view operator[](std::size_t index) const {
    return index < most ? fields_[index] : std::string_view();
  }

  // The field as a number, if it is one exactly as the bridge writes it: decimal, "-" before a
  // negative one, no blank, no "+", no leading zero, and within the type's range.
  template <std::integral Number>
  std::optional<Number> number(std::size_t index) const {
    return detail::exactNumber<Number>((*this)[index]);
  }

  // Reads the fields from `first` to the last into the numbers. False when their counts differ or a
  // field is not a number of its type; the numbers are then undefined.
  template <std::integral... Numbers>
  bool read(std::size_t first, Numbers&... numbers) const {
    if (count_ != first + sizeof...(Numbers)) return false;
    return (readOne(first++, numbers) && ...);
  }

 private:
  template <std::integral Number>
  bool readOne(std::size_t index, Number& number) const {
    const std::optional<Number> value = this->number<Number>(index);
    if (value) number = *value;
    return value.has_value();
  }

  std::array<std::string_view, most> fields_;
  std::size_t count_ = 0;
};

}  // namespace vornix_host
