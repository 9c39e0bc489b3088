// What the lines of the bridge's output mean: one type per kind of line. All are plain values that
// may be kept; only those with a text or bytes of any length hold memory of their own. The types of
// the messages are in Table.h.
#pragma once

#include <string>
#include <variant>

#include "Line.h"
#include "Table.h"  // IWYU pragma: export

namespace vornix_host {

// A line for people. The text is as Line::text has it.
struct LogEntry {
  LogTime time;
  std::string text;
};

// A whole host message, its checksum right, that is none of the table.
struct UnknownMessage {
  std::string payload;
};

struct DamagedLine {
  std::string bytes;
  bool mayBeDocument = false;  // as Line has it
};

using Message = AnyOf<LogEntry, UnknownMessage, DamagedLine>;

}  // namespace vornix_host
