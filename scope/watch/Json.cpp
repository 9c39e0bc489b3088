#include "scope/watch/Json.h"

#include <cstddef>
#include <cstdint>

namespace scope::json {
namespace {

struct Lead {
  unsigned char from;
  unsigned char to;
  unsigned char size;  // of the sequence, in bytes
  unsigned char secondFrom = 0x80;
  unsigned char secondTo = 0xBF;
};

// The well-formed sequences of UTF-8, as the Unicode standard lists them.
constexpr Lead kLeads[] = {
    {0x00, 0x7F, 1},
    {0xC2, 0xDF, 2},
    {0xE0, 0xE0, 3, 0xA0},
    {0xE1, 0xEC, 3},
    {0xED, 0xED, 3, 0x80, 0x9F},
    {0xEE, 0xEF, 3},
    {0xF0, 0xF0, 4, 0x90},
    {0xF1, 0xF3, 4},
    {0xF4, 0xF4, 4, 0x80, 0x8F},
};

// Bytes of the character that the text begins with; 0 when it is none.
std::size_t characterSize(std::string_view text) {
  const auto at = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  for (const Lead& lead : kLeads) {
    if (at(0) < lead.from || at(0) > lead.to) continue;
    if (text.size() < lead.size) return 0;
    if (lead.size > 1 && (at(1) < lead.secondFrom || at(1) > lead.secondTo)) return 0;
    for (std::size_t i = 2; i < lead.size; ++i) {
      if (at(i) < 0x80 || at(i) > 0xBF) return 0;
    }
    return lead.size;
  }
  return 0;
}

void appendControl(std::string& json, unsigned char character) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  json += "\\u00";
  json += kDigits[character >> 4U];
  json += kDigits[character & 0xFU];
}

}  // namespace

void append(std::string& json, std::string_view text) {
  json += '"';
  while (!text.empty()) {
    const std::size_t size = characterSize(text);
    const auto first = static_cast<unsigned char>(text.front());
    if (size == 0) {
      json += "\xEF\xBF\xBD";
    } else if (first < 0x20 || first == 0x7F) {
      appendControl(json, first);
    } else {
      if (first == '"' || first == '\\') json += '\\';
      json += text.substr(0, size);
    }
    text.remove_prefix(size == 0 ? 1 : size);
  }
  json += '"';
}

}  // namespace scope::json
