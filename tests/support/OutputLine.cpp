#include "support/OutputLine.h"

#include <cctype>

namespace support {

std::string printable(std::string_view bytes) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string text;
  for (const char character : bytes) {
    const auto byte = static_cast<unsigned char>(character);
    if (std::isprint(byte) != 0) {
      text += character;
    } else {
      text += {'\\', 'x', digits[byte >> 4U], digits[byte & 15U]};
    }
  }
  return text;
}

}  // namespace support
