// A GATT identifier (UUID): sent as 16 bits when it is built on the Bluetooth base UUID, else as
// 128.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "lab/DeviceModel.h"

namespace lab {

class Uuid {
 public:
  explicit Uuid(std::uint16_t shortForm);

  // From 4 digits, or 36 characters, in either case.
  static std::optional<Uuid> parse(std::string_view text);

  // From 2 or 16 bytes, least significant first.
  static std::optional<Uuid> fromWire(std::span<const std::uint8_t> bytes);

  // The bytes as ATT carries them: 2 or 16, least significant first.
  Bytes wire() const;

  // 4 digits or 36 characters, upper case. Journals and fault steps use this form.
  std::string text() const;

  bool operator==(const Uuid&) const = default;
  bool operator<(const Uuid& other) const { return value_ < other.value_; }

 private:
  using Value = std::array<std::uint8_t, 16>;  // most significant first

  explicit Uuid(const Value& value) : value_(value) {}
  bool isShort() const;

  Value value_;
};

// Of an identifier in either form: 36 characters, lower case.
std::string longForm(std::string_view uuid);

}  // namespace lab
