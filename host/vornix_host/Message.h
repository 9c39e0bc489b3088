// The decoded lines of the bridge: one type per kind of line. All are plain values that may be
// kept; only those with a text or bytes of any length allocate memory. The types of the messages
// are in Table.h.
#pragma once

#include <string>
#include <variant>

#include "Line.h"
#include "Table.h"  // IWYU pragma: export

namespace vornix_host {

// A line for people. text: as in Line::text.
struct LogEntry {
  LogTime time;
  std::string text;
};

// A whole host message with a valid checksum, but of no known kind.
struct UnknownMessage {
  std::string payload;
};

struct DamagedLine {
  std::string bytes;
  bool mayBeDocument = false;  // as in Line
};

using Message = AnyOf<LogEntry, UnknownMessage, DamagedLine>;

}  // namespace vornix_host
