#include "scope/Text.h"

namespace scope {

std::string toHex(std::span<const std::uint8_t> bytes, std::string_view digits) {
  std::string text;
  text.reserve(bytes.size() * 2);
  for (const unsigned byte : bytes) {
    text += digits[byte >> 4U];
    text += digits[byte & 0xFU];
  }
  return text;
}

std::string_view originOf(Kind kind) {
  if (kind == Kind::input) return "host";
  return kind == Kind::command ? "page" : "scope";
}

std::string describe(const Piece& piece) {
  switch (piece.kind) {
    case Kind::inputEnd:
      return "the host has closed the bridge's input";
    case Kind::missed:
      return std::string(piece.bytes) + " bytes were not seen here: the machine was too busy";
    case Kind::stalled:
      return "the host has not read for " + std::string(piece.bytes) + " ms";
    case Kind::end:
      return "the bridge has ended: " + std::string(piece.bytes);
    case Kind::session:
    case Kind::output:
    case Kind::input:
    case Kind::command:
      break;
  }
  std::string_view line = piece.bytes;
  while (line.ends_with('\n') || line.ends_with('\r')) line.remove_suffix(1);
  return std::string(line);
}

}  // namespace scope
