// The two kinds of line that the bridge writes, byte for byte.
#pragma once

#include <optional>
#include <string>

namespace oracle {

// CRC-16/CCITT-FALSE, bit by bit. Nothing when the text is not ASCII.
std::optional<unsigned> checksum(const std::string& payload);

// With its line feed; nothing when the payload is not ASCII.
std::optional<std::string> messageLine(const std::string& payload);

// With its line feed, and "time" in the place of the time.
std::string logLine(const std::string& text);

}  // namespace oracle
