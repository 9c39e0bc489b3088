// UTF-8, derived from what a sequence means and not from a table of the bytes allowed in it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace oracle {

// Nothing when the text is not well formed.
std::optional<std::vector<std::uint32_t>> scalars(const std::string& text);

std::string encoded(std::uint32_t scalar);

// U+FFFD in place of each maximal part of an ill-formed sequence.
std::string repaired(const std::string& text);

// Whether lowered() and beginsWith() know the scalar.
bool isKnown(std::uint32_t scalar);

// Lower case of a text that is well formed, for ASCII, Latin-1, a dotted capital I, Greek with its
// two small sigmas, Cyrillic, and scripts without case.
std::string lowered(const std::string& text);

// Whether the text begins with those ASCII letters, and none of them carries more: a letter and
// what combines with it are one character.
bool beginsWith(const std::string& text, const std::string& beginning);

}  // namespace oracle
