// One line of the bridge's output.
#pragma once

#include <string_view>

namespace vornix_host {

enum class LineKind {
  log,      // <@hh:mm:ss.mmm : text>, for people; not checksummed
  message,  // <payload and its checksum>, for the host
  damaged,  // bytes that are neither
};

// Local time of the bridge's machine, 00:00:00.000 to 23:59:59.999.
struct LogTime {
  int hour = 0;
  int minute = 0;
  int second = 0;
  int millisecond = 0;

  bool operator==(const LogTime&) const = default;
};

// The views point into the reader that returned the line and are valid until it is fed again.
struct Line {
  LineKind kind = LineKind::damaged;

  // All bytes of the line, with frame and line feed. The bytes of all lines together are the
  // output, without gap or overlap.
  std::string_view bytes;

  // log: the text as the bridge wrote it: UTF-8, "<" as "&inf;" and ">" as "&sup;", perhaps with
  // line breaks. message: the payload, ASCII. damaged: empty.
  std::string_view text;

  LogTime time;  // of a log line

  // damaged: the bytes begin like a document ("PJSON;"), or follow one so closely that they may be
  // its text. What follows may then be its text, too, and look like lines of the bridge.
  bool mayBeDocument = false;
};

}  // namespace vornix_host
