// One line of a bridge's output.
#pragma once

#include <string>
#include <string_view>

#include "vornix_host.h"

namespace support {

struct OutputLine {
  vornix_host::LineKind kind = vornix_host::LineKind::damaged;
  vornix_host::LogTime time;  // of a log line
  std::string text;           // of a log line its text, of a message its payload; else empty
  std::string bytes;          // the whole line, with frame and line feed

  bool isLog(std::string_view expected) const {
    return kind == vornix_host::LineKind::log && text == expected;
  }
  bool isMessage(std::string_view payload) const {
    return kind == vornix_host::LineKind::message && text == payload;
  }
  bool isDamaged() const { return kind == vornix_host::LineKind::damaged; }

  // The decoded message.
  vornix_host::Message message() const { return vornix_host::decode({kind, bytes, text, time}); }
};

// For failure messages: the bytes, with what cannot be printed as \xNN.
std::string printable(std::string_view bytes);

}  // namespace support
