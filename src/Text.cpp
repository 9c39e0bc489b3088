#include "Text.h"

#include <locale.h>
#include <wctype.h>
#if __has_include(<xlocale.h>)
#include <xlocale.h>  // where macOS declares towlower_l
#endif

#include <cstdint>

#include "Precondition.h"

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD

// What may follow a lead byte (Unicode Standard, table 3-7). Only the second byte's range depends
// on the lead; the others are 80 to BF.
struct Sequence {
  std::size_t length;
  std::uint8_t secondLow;
  std::uint8_t secondHigh;
};

std::optional<Sequence> sequenceOf(std::uint8_t lead) {
  if (lead < 0x80) return Sequence{1, 0, 0};
  if (lead < 0xC2) return std::nullopt;
  if (lead < 0xE0) return Sequence{2, 0x80, 0xBF};
  if (lead == 0xE0) return Sequence{3, 0xA0, 0xBF};
  if (lead == 0xED) return Sequence{3, 0x80, 0x9F};
  if (lead < 0xF0) return Sequence{3, 0x80, 0xBF};
  if (lead == 0xF0) return Sequence{4, 0x90, 0xBF};
  if (lead < 0xF4) return Sequence{4, 0x80, 0xBF};
  if (lead == 0xF4) return Sequence{4, 0x80, 0x8F};
  return std::nullopt;
}

// How many bytes at the start of the text belong to one well-formed sequence, complete or not.
std::size_t wellFormedPart(std::string_view text, const Sequence& sequence) {
  std::size_t length = 1;
  while (length < sequence.length && length < text.size()) {
    const auto byte = static_cast<std::uint8_t>(text[length]);
    const std::uint8_t low = length == 1 ? sequence.secondLow : 0x80;
    const std::uint8_t high = length == 1 ? sequence.secondHigh : 0xBF;
    if (byte < low || byte > high) break;
    ++length;
  }
  return length;
}

void appendScalar(std::string& text, char32_t scalar) {
  const auto put = [&text](char32_t byte) { text += static_cast<char>(byte); };
  if (scalar < 0x80) {
    put(scalar);
  } else if (scalar < 0x800) {
    put(0xC0 | scalar >> 6);
    put(0x80 | (scalar & 0x3F));
  } else if (scalar < 0x10000) {
    put(0xE0 | scalar >> 12);
    put(0x80 | (scalar >> 6 & 0x3F));
    put(0x80 | (scalar & 0x3F));
  } else {
    put(0xF0 | scalar >> 18);
    put(0x80 | (scalar >> 12 & 0x3F));
    put(0x80 | (scalar >> 6 & 0x3F));
    put(0x80 | (scalar & 0x3F));
  }
}

// A locale that knows Unicode, under the name it has on Linux or on macOS; no language in it.
locale_t unicodeLocale() {
  static const locale_t locale = [] {
    const locale_t found = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return found != nullptr ? found : newlocale(LC_CTYPE_MASK, "UTF-8", nullptr);
  }();
  return locale;
}

}  // namespace

std::optional<DecodedScalar> decodeScalar(std::string_view text) {
  const auto lead = static_cast<std::uint8_t>(text.front());
  const auto sequence = sequenceOf(lead);
  if (!sequence || wellFormedPart(text, *sequence) != sequence->length) return std::nullopt;
  constexpr std::uint8_t kLeadBits[] = {0, 0x7F, 0x1F, 0x0F, 0x07};
  char32_t scalar = lead & kLeadBits[sequence->length];
  for (std::size_t i = 1; i < sequence->length; ++i) {
    scalar = scalar << 6 | (static_cast<std::uint8_t>(text[i]) & 0x3F);
  }
  return DecodedScalar{scalar, sequence->length};
}

bool isValidUtf8(std::string_view text) {
  while (!text.empty()) {
    const auto decoded = decodeScalar(text);
    if (!decoded) return false;
    text.remove_prefix(decoded->length);
  }
  return true;
}

std::string repairedUtf8(std::string_view text) {
  std::string repaired;
  repaired.reserve(text.size());
  while (!text.empty()) {
    const auto sequence = sequenceOf(static_cast<std::uint8_t>(text.front()));
    const std::size_t length = sequence ? wellFormedPart(text, *sequence) : 1;
    const bool complete = sequence && length == sequence->length;
    repaired += complete ? text.substr(0, length) : kReplacement;
    text.remove_prefix(length);
  }
  return repaired;
}

std::string lowerCase(std::string_view text) {
  const locale_t locale = unicodeLocale();
  require(locale != nullptr);
  std::string lower;
  lower.reserve(text.size());
  while (!text.empty()) {
    const auto decoded = decodeScalar(text);
    require(decoded.has_value());
    const auto mapped = towlower_l(static_cast<wint_t>(decoded->scalar), locale);
    appendScalar(lower, static_cast<char32_t>(mapped));
    text.remove_prefix(decoded->length);
  }
  return lower;
}
