// Texts that the tables and the page have in common.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "scope/Piece.h"

namespace scope {

// Two digits per byte, without anything between.
std::string toHex(std::span<const std::uint8_t> bytes,
                  std::string_view digits = "0123456789ABCDEF");

// Of a piece that the bridge did not write: from whom it is ("host", "page" or "scope"), and what
// it says: a line without its end, or an event in words.
std::string_view originOf(Kind kind);
std::string describe(const Piece& piece);

}  // namespace scope
