#include "lab/Uuid.h"

#include <algorithm>

#include "lab/Text.h"

namespace lab {
namespace {

constexpr std::array<std::uint8_t, 16> kBase{0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0x00,
                                             0x80, 0x00, 0x00, 0x80, 0x5F, 0x9B, 0x34, 0xFB};

}  // namespace

Uuid::Uuid(std::uint16_t shortForm) : value_(kBase) {
  value_[2] = static_cast<std::uint8_t>(shortForm >> 8);
  value_[3] = static_cast<std::uint8_t>(shortForm);
}

std::optional<Uuid> Uuid::parse(std::string_view text) {
  if (text.size() != 4 && text.size() != 36) return std::nullopt;
  std::string digits;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isDash = i == 8 || i == 13 || i == 18 || i == 23;
    if (isDash && text[i] != '-') return std::nullopt;
    if (!isDash) digits += text[i];
  }
  const std::optional<Bytes> bytes = fromHex(digits);
  if (!bytes) return std::nullopt;
  Uuid uuid(kBase);
  std::ranges::copy(*bytes, uuid.value_.begin() + (text.size() == 4 ? 2 : 0));
  return uuid;
}

std::optional<Uuid> Uuid::fromWire(std::span<const std::uint8_t> bytes) {
  if (bytes.size() != 2 && bytes.size() != 16) return std::nullopt;
  Uuid uuid(kBase);
  std::ranges::reverse_copy(bytes, uuid.value_.begin() + (bytes.size() == 2 ? 2 : 0));
  return uuid;
}

Bytes Uuid::wire() const {
  if (isShort()) return {value_[3], value_[2]};
  return {value_.rbegin(), value_.rend()};
}

std::string Uuid::text() const {
  if (isShort()) return toHex(std::span(value_).subspan(2, 2));
  std::string text = toHex(value_);
  for (const std::size_t at : {8U, 13U, 18U, 23U}) text.insert(at, 1, '-');
  return text;
}

bool Uuid::isShort() const {
  return value_[0] == 0 && value_[1] == 0 &&
         std::equal(value_.begin() + 4, value_.end(), kBase.begin() + 4);
}

std::string longForm(std::string_view uuid) {
  std::string text(uuid);
  std::ranges::transform(text, text.begin(), [](char c) {
    return c >= 'A' && c <= 'F' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return text.size() == 4 ? "0000" + text + "-0000-1000-8000-00805f9b34fb" : text;
}

}  // namespace lab
