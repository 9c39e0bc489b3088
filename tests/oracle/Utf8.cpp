#include "tests/oracle/Utf8.h"

#include <algorithm>
#include <iterator>

namespace oracle {

namespace {

using Range = std::pair<std::uint32_t, std::uint32_t>;

bool within(std::uint32_t number, std::uint32_t low, std::uint32_t high) {
  return number >= low && number <= high;
}

// The length that the first byte of a sequence announces by its leading one bits; 0 when it cannot
// be a first byte.
std::size_t lengthBy(unsigned first) {
  if (first < 0x80) return 1;
  if (first >= 0xC0 && first < 0xE0) return 2;
  if (first >= 0xE0 && first < 0xF0) return 3;
  if (first >= 0xF0 && first < 0xF8) return 4;
  return 0;
}

// The range of numbers that sequences with this beginning would encode if all numbers were allowed.
std::optional<Range> numbersWith(const std::string& beginning) {
  const unsigned first = static_cast<unsigned char>(beginning[0]);
  const std::size_t length = lengthBy(first);
  if (length == 0 || beginning.size() > length) return std::nullopt;
  std::uint32_t low = length == 1 ? first : first % (1U << (7 - length));
  std::uint32_t high = low;
  for (std::size_t i = 1; i < length; ++i) {
    std::uint32_t least = 0;
    std::uint32_t most = 63;
    if (i < beginning.size()) {
      const unsigned byte = static_cast<unsigned char>(beginning[i]);
      if (byte < 0x80 || byte > 0xBF) return std::nullopt;
      least = most = byte - 0x80;
    }
    low = 64 * low + least;
    high = 64 * high + most;
  }
  return Range{low, high};
}

// Whether the range contains a scalar whose shortest encoding has this length.
bool holdsScalar(const Range& range, std::size_t length) {
  constexpr std::uint32_t starts[] = {0, 0, 0x80, 0x800, 0x10000};
  constexpr std::uint32_t ends[] = {0, 0x7F, 0x7FF, 0xFFFF, 0x10FFFF};
  const auto overlaps = [&range](std::uint32_t low, std::uint32_t high) {
    return range.first <= high && range.second >= low;
  };
  if (length != 3) return overlaps(starts[length], ends[length]);
  return overlaps(0x800, 0xD7FF) || overlaps(0xE000, 0xFFFF);  // between them: surrogates
}

// Whether a well-formed sequence can begin like this.
bool canBegin(const std::string& beginning) {
  const auto range = numbersWith(beginning);
  return range && holdsScalar(*range, lengthBy(static_cast<unsigned char>(beginning[0])));
}

// The longest part at the place with which a well-formed sequence can begin; may be empty.
std::string longestPart(const std::string& text, std::size_t place) {
  std::string part;
  while (part.size() < 4 && place + part.size() < text.size()) {
    const std::string longer = part + text[place + part.size()];
    if (!canBegin(longer)) break;
    part = longer;
  }
  return part;
}

bool isWhole(const std::string& part) {
  return !part.empty() && part.size() == lengthBy(static_cast<unsigned char>(part[0]));
}

using Scalars = std::vector<std::uint32_t>;

constexpr std::uint32_t kCapitalSigma = 0x3A3;
constexpr std::uint32_t kSigma = 0x3C3;
constexpr std::uint32_t kFinalSigma = 0x3C2;

bool isCombining(std::uint32_t scalar) {
  return within(scalar, 0x300, 0x36F) || within(scalar, 0x1F3FB, 0x1F3FF);
}

bool isLetterWithCase(std::uint32_t scalar) {
  if (scalar < 0x100) {
    return within(scalar, 'A', 'Z') || within(scalar, 'a', 'z') || scalar == 0xAA ||
           scalar == 0xB5 || scalar == 0xBA || (scalar >= 0xC0 && scalar != 0xD7 && scalar != 0xF7);
  }
  return scalar == 0x130 || within(scalar, 0x391, 0x3C9) || within(scalar, 0x400, 0x45F);
}

// Scalars that may stand within a word without being letters of it.
bool isPassedOver(std::uint32_t scalar) {
  static const Scalars signs = {'.', ':', '^', '`', 0xA8, 0xAD, 0xAF, 0xB4, 0xB7, 0xB8};
  return isCombining(scalar) || std::find(signs.begin(), signs.end(), scalar) != signs.end();
}

// Whether the first scalar that is not passed over is a letter with case.
template <class Iterator>
bool meetsLetter(Iterator next, Iterator end) {
  next = std::find_if_not(next, end, isPassedOver);
  return next != end && isLetterWithCase(*next);
}

Scalars lower(const Scalars& all, std::size_t place) {
  const std::uint32_t scalar = all[place];
  if (scalar == 0x130) return {'i', 0x307};
  if (scalar == kCapitalSigma) {
    const auto here = all.begin() + static_cast<std::ptrdiff_t>(place);
    const bool isPreceded = meetsLetter(std::make_reverse_iterator(here), all.rend());
    return {isPreceded && !meetsLetter(here + 1, all.end()) ? kFinalSigma : kSigma};
  }
  if (within(scalar, 'A', 'Z')) return {scalar + 32};
  if (within(scalar, 0xC0, 0xDE) && scalar != 0xD7) return {scalar + 32};
  if (within(scalar, 0x391, 0x3AB)) return {scalar + 32};
  if (within(scalar, 0x400, 0x40F)) return {scalar + 80};
  if (within(scalar, 0x410, 0x42F)) return {scalar + 32};
  return {scalar};
}

}  // namespace

std::optional<std::vector<std::uint32_t>> scalars(const std::string& text) {
  std::vector<std::uint32_t> found;
  for (std::size_t i = 0; i < text.size();) {
    const std::string part = longestPart(text, i);
    if (!isWhole(part)) return std::nullopt;
    found.push_back(numbersWith(part)->first);
    i += part.size();
  }
  return found;
}

std::string encoded(std::uint32_t scalar) {
  const auto tail = [scalar](int shift) {
    return std::string(1, static_cast<char>(0x80 + (scalar >> shift) % 64));
  };
  const auto head = [scalar](unsigned base, int shift) {
    return std::string(1, static_cast<char>(base + (scalar >> shift)));
  };
  if (scalar < 0x80) return head(0, 0);
  if (scalar < 0x800) return head(0xC0, 6) + tail(0);
  if (scalar < 0x10000) return head(0xE0, 12) + tail(6) + tail(0);
  return head(0xF0, 18) + tail(12) + tail(6) + tail(0);
}

std::string repaired(const std::string& text) {
  std::string result;
  for (std::size_t i = 0; i < text.size();) {
    const std::string part = longestPart(text, i);
    result += isWhole(part) ? part : encoded(0xFFFD);
    i += part.empty() ? 1 : part.size();
  }
  return result;
}

// Without the apostrophe: libunistring 1.0 ends a word there, as Unicode did before version 6.3.
bool isKnown(std::uint32_t scalar) {
  return (scalar < 0x100 && scalar != '\'') || scalar == 0x130 ||
         (within(scalar, 0x300, 0x36F) && scalar != 0x345) ||
         (within(scalar, 0x391, 0x3C9) && scalar != 0x3A2) || within(scalar, 0x400, 0x45F) ||
         within(scalar, 0x3041, 0x3096) || within(scalar, 0x4E00, 0x9FA5) ||
         within(scalar, 0x1F300, 0x1F64F);
}

std::string lowered(const std::string& text) {
  const auto all = scalars(text).value();
  std::string result;
  for (std::size_t place = 0; place < all.size(); ++place) {
    for (const std::uint32_t scalar : lower(all, place)) result += encoded(scalar);
  }
  return result;
}

bool beginsWith(const std::string& text, const std::string& beginning) {
  const auto all = scalars(text).value();
  for (std::size_t i = 0; i < beginning.size(); ++i) {
    if (i == all.size() || all[i] != static_cast<unsigned char>(beginning[i])) return false;
  }
  return all.size() == beginning.size() || !isCombining(all[beginning.size()]);
}

}  // namespace oracle
