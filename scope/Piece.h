// What passes between a host and its bridge, as the scope passes it on to whoever watches.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace scope {

// The values stand in recordings (docs/recording.md) and may not change.
enum class Kind : std::uint8_t {
  session = 'S',   // a session has begun. Bytes: the bridge's command line, its words ended by NUL
  output = 'o',    // what the bridge wrote
  input = 'i',     // what the host wrote
  command = 'c',   // a line that somebody sent from the page
  inputEnd = 'x',  // the host has closed the bridge's input. No bytes
  missed = 'm',    // bytes that could not be kept. Bytes: their number, in decimal
  stalled = 'w',   // the host does not read. Bytes: for how many milliseconds by now, in decimal
  end = 'e',       // the bridge has ended. Bytes: "status N" or "signal N"
};

constexpr bool isKind(std::uint8_t value) {
  return std::string_view("Soicxmwe").find(static_cast<char>(value)) != std::string_view::npos;
}

// Microseconds since 1970 for Kind::session, of the monotonic clock since the session's beginning
// for every other.
using Time = std::int64_t;

struct Piece {
  Kind kind = Kind::output;
  Time time = 0;
  std::string_view bytes;
};

// How a process ended.
struct Ending {
  bool isBySignal = false;
  int code = 0;  // the status or the signal's number

  bool operator==(const Ending&) const = default;
};

}  // namespace scope
