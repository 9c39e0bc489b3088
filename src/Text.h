// UTF-8 text, for device names and device replies. Nothing here depends on the locale.
#pragma once

#include <string>
#include <string_view>

// Whether the text is well formed: no overlong forms, no surrogates, nothing above U+10FFFF.
bool isValidUtf8(std::string_view text);

// The text with U+FFFD in place of every maximal subpart of an ill-formed sequence, as the Unicode
// Standard recommends (chapter 3, "U+FFFD Substitution of Maximal Subparts").
std::string repairedUtf8(std::string_view text);

// Lower case by Unicode's full mapping (chapter 3, "Default Case Conversion"), without the rules of
// any one language: one scalar may become several (U+0130: "i" and U+0307), and a sigma that ends a
// word becomes U+03C2. The text has to be valid UTF-8.
std::string lowerCase(std::string_view text);

// Whether the text begins with the characters of the prefix. A character is an extended grapheme
// cluster: "ilo" followed by a combining accent does not begin with "ilo", since the accent changes
// the o into another character.
bool beginsWith(std::string_view text, std::string_view prefix);
