// UTF-8, derived from the meaning of a sequence and not from a table of allowed bytes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace oracle {

// Nothing when the text is not well formed.
std::optional<std::vector<std::uint32_t>> scalars(const std::string& text);

std::string encoded(std::uint32_t scalar);

// The text with U+FFFD in place of each maximal subpart of an ill-formed sequence.
std::string repaired(const std::string& text);

// Whether lowered() and beginsWith() know the scalar.
bool isKnown(std::uint32_t scalar);

// The lower case of a well-formed text in ASCII, Latin-1, dotted capital I, Greek (with both small
// sigmas), Cyrillic, and scripts without case.
std::string lowered(const std::string& text);

// Whether the text begins with these ASCII letters as whole characters: a letter and what combines
// with it are one character.
bool beginsWith(const std::string& text, const std::string& beginning);

}  // namespace oracle
