// The entries that a journal is expected to hold.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace unit {

using Entries = std::vector<std::string>;

// A log line with this text, which is given already escaped.
std::string log(std::string_view text);

// A host message with this payload, with frame and checksum.
std::string message(std::string_view payload);

// CRC-16/CCITT-FALSE bit by bit, straight from its definition.
std::uint16_t referenceCrc(std::string_view text);

}  // namespace unit
