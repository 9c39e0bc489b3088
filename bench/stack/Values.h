// The stamped values in a client's lines.
#pragma once

#include <optional>
#include <vector>

#include "Process.h"
#include "Stamp.h"

namespace bench {

// How a client writes a value: a message of the bridge, or its bytes in hexadecimal.
enum class Form { message, hexadecimal };

std::optional<Stamp> stampIn(std::string_view line, Form form);

// How many of the values 1 to count arrived, and how late.
struct Reception {
  unsigned received = 0;
  std::vector<double> latencies;  // in milliseconds, from sending to the reader of the pipe
};
Reception receptionOf(const std::vector<Output::Line>& lines, Form form, unsigned count);

}  // namespace bench
