// A GATT identifier: 128 bits, compared by value, whichever form it was written in.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

class CBUUID {
 public:
  // From "180F" or "0000180F" (short forms, built on the Bluetooth base UUID) or
  // "0000180f-0000-1000-8000-00805f9b34fb", in either case. A constant of any other form does not
  // compile.
  static consteval CBUUID UUIDWithString(std::string_view text) { return parse(text).value(); }

  // The same for text that comes from outside; nothing when it is no identifier.
  static constexpr std::optional<CBUUID> parse(std::string_view text);

  constexpr bool operator==(const CBUUID&) const = default;

  // The usual printed form, in upper case: four digits if it has a 16-bit form, else all 36
  // characters.
  std::string description() const;

 private:
  using Bytes = std::array<std::uint8_t, 16>;  // most significant first

  static constexpr Bytes kBase{0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0x00,
                               0x80, 0x00, 0x00, 0x80, 0x5F, 0x9B, 0x34, 0xFB};

  constexpr explicit CBUUID(const Bytes& bytes) : bytes_(bytes) {}

  static constexpr int digit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
  }

  Bytes bytes_;
};

constexpr std::optional<CBUUID> CBUUID::parse(std::string_view text) {
  const bool isLong = text.size() == 36;
  if (!isLong && text.size() != 8 && text.size() != 4) return std::nullopt;
  Bytes bytes = kBase;
  std::size_t nibble = text.size() == 4 ? 4 : 0;  // a 16-bit form fills bytes 2 and 3
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (isLong && (i == 8 || i == 13 || i == 18 || i == 23)) {
      if (text[i] != '-') return std::nullopt;
      continue;
    }
    const int value = digit(text[i]);
    if (value < 0) return std::nullopt;
    std::uint8_t& byte = bytes[nibble / 2];
    byte = static_cast<std::uint8_t>(nibble % 2 == 0 ? value << 4 : byte | value);
    ++nibble;
  }
  return CBUUID(bytes);
}

}  // namespace platform
