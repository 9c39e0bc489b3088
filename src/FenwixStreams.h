// The values that a Fenwix streams, turned into host messages. Main thread.
#pragma once

#include <cstdint>
#include <string_view>

#include "platform/Platform.h"

// kind: the message's first field, "P1;" or "P2;". value: an IEEE-754 binary32, little-endian. It
// is sent as a fixed-point integer with seven decimal places, truncated: 0.01 gives 100000. It has
// to be finite and, when scaled, to fit into 64 bits.
void sendRms(std::string_view kind, platform::Value value);

// kind: "PR1;" or "PR2;". Sends every byte of the value, of any length, as two upper-case
// hexadecimal digits.
void sendRaw(std::string_view kind, platform::Value value);
