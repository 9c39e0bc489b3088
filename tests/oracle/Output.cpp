#include "tests/oracle/Output.h"

#include <vector>

namespace oracle {

namespace {

// The numbers that the checksum is made of: one per character, with "\r\n" as one character.
std::optional<std::vector<int>> characters(const std::string& payload) {
  std::vector<int> numbers;
  for (std::size_t i = 0; i < payload.size(); ++i) {
    if (payload.substr(i, 2) == "\r\n") {
      numbers.push_back(10);
      ++i;
    } else {
      const int number = static_cast<unsigned char>(payload[i]);
      if (number > 127) return std::nullopt;
      numbers.push_back(number);
    }
  }
  return numbers;
}

std::string replaced(const std::string& text, char what, const std::string& by) {
  std::string result;
  for (const char c : text) {
    if (c == what) {
      result += by;
    } else {
      result += c;
    }
  }
  return result;
}

}  // namespace

std::optional<unsigned> checksum(const std::string& payload) {
  const auto numbers = characters(payload);
  if (!numbers) return std::nullopt;
  unsigned value = 0xFFFF;
  for (const int number : *numbers) {
    for (const int weight : {128, 64, 32, 16, 8, 4, 2, 1}) {
      const bool bit = (number & weight) != 0;
      const bool feedback = (value >= 0x8000) != bit;
      value = value * 2 % 0x10000;
      if (feedback) value ^= 0x1021;  // x^16 = x^12 + x^5 + 1
    }
  }
  return value;
}

std::optional<std::string> messageLine(const std::string& payload) {
  const auto sum = checksum(payload);
  if (!sum) return std::nullopt;
  std::string digits;
  for (const unsigned weight : {4096U, 256U, 16U, 1U}) {
    digits += "0123456789ABCDEF"[*sum / weight % 16];
  }
  return "<" + payload + digits + ">\n";
}

std::string logLine(const std::string& text) {
  return "<@time : " + replaced(replaced(text, '<', "&inf;"), '>', "&sup;") + ">\n";
}

}  // namespace oracle
