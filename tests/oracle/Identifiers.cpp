#include "tests/oracle/Identifiers.h"

namespace oracle {

std::string printed(std::string_view uuid) {
  std::string upper;
  for (const char c : uuid) upper += c >= 'a' && c <= 'f' ? static_cast<char>(c - 'a' + 'A') : c;
  const bool isShort =
      upper.substr(0, 4) == "0000" && upper.substr(8) == "-0000-1000-8000-00805F9B34FB";
  return isShort ? upper.substr(4, 4) : upper;
}

}  // namespace oracle
