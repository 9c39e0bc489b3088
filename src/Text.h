// UTF-8 text, as device names and device replies have it.
#pragma once

#include <optional>
#include <string>
#include <string_view>

struct DecodedScalar {
  char32_t scalar;
  std::size_t length;  // bytes consumed, 1 to 4
};

// The first Unicode scalar of a text that is not empty; nothing when the text does not begin with a
// well-formed sequence (no overlong forms, no surrogates, nothing above U+10FFFF).
std::optional<DecodedScalar> decodeScalar(std::string_view text);

bool isValidUtf8(std::string_view text);

// The text with U+FFFD in place of every maximal part of an ill-formed sequence, as the Unicode
// Standard recommends (chapter 3, "U+FFFD Substitution of Maximal Subparts").
std::string repairedUtf8(std::string_view text);

// Lower case by Unicode's simple mapping (one scalar becomes one scalar), whatever the user's
// language. The text has to be valid UTF-8.
std::string lowerCase(std::string_view text);
