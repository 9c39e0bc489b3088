#include "lab/Text.h"

#include <charconv>

namespace lab {

std::string toHex(std::span<const std::uint8_t> bytes) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  text.reserve(bytes.size() * 2);
  for (const std::uint8_t byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0x0F];
  }
  return text;
}

std::optional<Bytes> fromHex(std::string_view text) {
  if (text.size() % 2 != 0) return std::nullopt;
  Bytes bytes;
  bytes.reserve(text.size() / 2);
  for (std::size_t i = 0; i < text.size(); i += 2) {
    std::uint8_t byte = 0;
    const char* const first = text.data() + i;
    const auto [end, error] = std::from_chars(first, first + 2, byte, 16);
    if (error != std::errc{} || end != first + 2) return std::nullopt;
    bytes.push_back(byte);
  }
  return bytes;
}

std::optional<std::uint32_t> toNumber(std::string_view text) {
  const bool isHex = text.starts_with("0x");
  if (isHex) text.remove_prefix(2);
  std::uint32_t number = 0;
  const char* const last = text.data() + text.size();
  const auto [end, error] = std::from_chars(text.data(), last, number, isHex ? 16 : 10);
  if (error != std::errc{} || end != last) return std::nullopt;
  return number;
}

std::pair<std::string_view, std::string_view> splitAt(std::string_view text, char separator) {
  const std::size_t at = text.find(separator);
  if (at == std::string_view::npos) return {text, {}};
  return {text.substr(0, at), text.substr(at + 1)};
}

}  // namespace lab
