#include "Text.h"

#include <unicase.h>
#include <unigbrk.h>
#include <unistr.h>

#include <cstdint>
#include <cstdlib>
#include <memory>

#include "Precondition.h"

namespace {

const std::uint8_t* bytesOf(std::string_view text) {
  return reinterpret_cast<const std::uint8_t*>(text.data());
}

// The number of bytes at the beginning of an ill-formed text that one replacement character stands
// for: the longest incomplete sequence, or else one byte.
std::size_t illFormedPart(std::string_view text) {
  constexpr int kIncomplete = -2;
  ucs4_t scalar = 0;
  std::size_t length = 1;
  while (length < text.size() && u8_mbtoucr(&scalar, bytesOf(text), length + 1) == kIncomplete) {
    ++length;
  }
  return length;
}

struct Free {
  void operator()(std::uint8_t* bytes) const { std::free(bytes); }
};

}  // namespace

bool isValidUtf8(std::string_view text) {
  return u8_check(bytesOf(text), text.size()) == nullptr;
}

std::string repairedUtf8(std::string_view text) {
  constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD
  std::string repaired;
  repaired.reserve(text.size());
  while (!text.empty()) {
    ucs4_t scalar = 0;
    const int decoded = u8_mbtoucr(&scalar, bytesOf(text), text.size());
    const std::size_t length =
        decoded > 0 ? static_cast<std::size_t>(decoded) : illFormedPart(text);
    repaired += decoded > 0 ? text.substr(0, length) : kReplacement;
    text.remove_prefix(length);
  }
  return repaired;
}

std::string lowerCase(std::string_view text) {
  require(isValidUtf8(text));
  std::size_t length = 0;
  const std::unique_ptr<std::uint8_t, Free> lower(
      u8_tolower(bytesOf(text), text.size(), nullptr, nullptr, nullptr, &length));
  require(lower != nullptr);
  return {lower.get(), lower.get() + length};
}

bool beginsWith(std::string_view text, std::string_view prefix) {
  if (!text.starts_with(prefix)) return false;
  const std::uint8_t* next = bytesOf(text);
  const std::uint8_t* const end = next + text.size();
  const std::uint8_t* const prefixEnd = next + prefix.size();
  while (next < prefixEnd) next = u8_grapheme_next(next, end);
  return next == prefixEnd;
}
