// The values that a Fenwix streams, turned into host messages. Main thread.
#pragma once

#include <cstdint>
#include <string_view>

#include "platform/Platform.h"

// An IEEE-754 binary32, little-endian, sent as a fixed-point integer with seven decimal places,
// truncated: 0.01 gives 100000. It has to be finite and fit into 64 bits when scaled.
void sendRms(std::string_view kind, platform::Value value);

// Every byte as two upper-case hexadecimal digits, whatever their number.
void sendRaw(std::string_view kind, platform::Value value);
