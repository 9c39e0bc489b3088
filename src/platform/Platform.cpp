#include "platform/Platform.h"

namespace platform {

std::string CBUUID::description() const {
  constexpr char kDigits[] = "0123456789ABCDEF";
  bool isShort = bytes_[0] == 0 && bytes_[1] == 0;
  for (std::size_t i = 4; i < bytes_.size(); ++i) isShort = isShort && bytes_[i] == kBase[i];

  std::string text;
  for (std::size_t i = isShort ? 2 : 0; i < (isShort ? 4 : bytes_.size()); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    text += kDigits[bytes_[i] >> 4];
    text += kDigits[bytes_[i] & 0x0F];
  }
  return text;
}

std::string Error::description() const {
  if (!printed.empty()) return printed;
  return "Error Domain=" + domain + " Code=" + std::to_string(code) + " \"" + message + "\"";
}

}  // namespace platform
