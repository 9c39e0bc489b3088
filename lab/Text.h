// Conversions of text that options, control lines and journals share.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "lab/DeviceModel.h"

namespace lab {

// Two upper-case digits per byte, nothing between them.
std::string toHex(std::span<const std::uint8_t> bytes);

// The reverse of toHex, with digits in either case; an empty text gives an empty value.
std::optional<Bytes> fromHex(std::string_view text);

// Decimal, or hexadecimal after "0x". Nothing when the text is anything but a number.
std::optional<std::uint32_t> toNumber(std::string_view text);

// The parts before and after the first separator; without one the second part is empty.
std::pair<std::string_view, std::string_view> splitAt(std::string_view text, char separator);

}  // namespace lab
