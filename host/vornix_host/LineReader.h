// Cuts the bridge's output into lines. feed() takes bytes, in pieces of any size; next() returns
// the lines, which do not depend on how the bytes are cut.
//
// The end of a line:
//  - A log line ends at its first ">", which is followed by a line feed. Its text contains neither
//    "<" nor ">" (they are written "&inf;" and "&sup;"), but perhaps line breaks.
//  - A host message ends at its first ">", which is followed by a line feed. Its payload contains
//    neither "<" nor ">" nor a line feed, with one exception:
//  - The payload "PJSON;" text ";" contains the device's own text, which may contain "<", ">" and
//    line feeds. It ends at the first ">" that is followed by a line feed. JSON has ">" only within
//    strings, and a line feed only outside of them; a text that has the two together is not JSON
//    and counts as damage.
//
// Damage is any of: bytes outside a frame, a frame cut off by the next one's "<", a wrong checksum,
// an impossible time, a line longer than the bridge writes. It is returned as a line of its own
// kind, and reading goes on at the next "<". After a damaged "PJSON;" that may be within the
// device's text, and what looks like lines of the bridge may be the device's: see
// Line::mayBeDocument.
//
// Memory: the bytes fed and not yet returned; nothing per line. Not for two threads at once.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Checksum.h"
#include "Line.h"

namespace vornix_host {

class LineReader {
 public:
  // The longest host message in bytes, with frame and line feed: a "PJSON;" with 65,535 bytes of
  // text.
  static constexpr std::size_t longestMessage = 1 + 6 + 65535 + 1 + 4 + 2;

  // The longest log line in bytes. The bridge itself has no limit, since it logs unknown commands
  // of any length; a host that sends longer ones gets the log line as damaged.
  static constexpr std::size_t longestLog = std::size_t{1} << 20U;

  // Adds the next bytes of the output. Lines returned before are not valid any more.
  void feed(std::string_view bytes) {
    buffer_.erase(0, begin_);
    begin_ = 0;
    buffer_.append(bytes);
  }

  // The output has ended; next() returns the rest. Nothing may be fed afterwards.
  void finish() { finished_ = true; }

  // The next line, or nothing until more is fed.
  std::optional<Line> next() {
    const std::string_view rest = std::string_view(buffer_).substr(begin_);
    if (rest.empty()) return std::nullopt;
    if (rest.front() != '<') return outside(rest.substr(0, longestLog));
    if (rest.starts_with("<@")) return log(rest.substr(0, longestLog));
    if (rest.starts_with("<PJSON;")) return json(rest.substr(0, longestMessage));
    return message(rest.substr(0, longestMessage));
  }

 private:
  static constexpr std::string_view::size_type none = std::string_view::npos;
  static constexpr std::size_t digits = 4;

  std::optional<Line> outside(std::string_view rest) {
    const std::size_t stop = rest.find_first_of("<\n", scanned_);
    if (stop == none) return unfinished(rest, longestLog, rest.size(), rest.size());
    return damaged(rest, rest[stop] == '<' ? stop : stop + 1);
  }

  std::optional<Line> log(std::string_view rest) {
    const std::size_t stop = rest.find_first_of("<>", std::max<std::size_t>(scanned_, 1));
    if (stop == none || stop + 1 == rest.size()) return unfinished(rest, longestLog, stop);
    if (rest[stop] == '<') return damaged(rest, stop);
    if (rest[stop + 1] != '\n') return damaged(rest, stop + 1);

    constexpr std::size_t header = std::string_view("<@hh:mm:ss.mmm : ").size();
    const std::optional<LogTime> time = stop < header ? std::nullopt : logTime(rest);
    if (!time) return damaged(rest, stop + 2);
    return taken(
        {LineKind::log, rest.substr(0, stop + 2), rest.substr(header, stop - header), *time});
  }

  std::optional<Line> message(std::string_view rest) {
    const std::size_t stop = rest.find_first_of("<>\n", std::max<std::size_t>(scanned_, 1));
    if (stop == none || stop + 1 == rest.size()) return unfinished(rest, longestMessage, stop);
    if (rest[stop] == '<') return damaged(rest, stop);
    if (rest[stop] == '\n' || rest[stop + 1] != '\n') return damaged(rest, stop + 1);
    if (!endsHere(rest, stop)) return damaged(rest, stop + 2);
    return taken({LineKind::message, rest.substr(0, stop + 2), payload(rest, stop), {}});
  }

  std::optional<Line> json(std::string_view rest) {
    const std::size_t end = rest.find(">\n", scanned_);
    if (end == none) {
      return unfinished(rest, longestMessage, rest.size() - 1,
                        std::min(rest.find('<', 1), rest.size()));
    }
    if (!endsHere(rest, end) || isLaterLine(rest, end)) {
      return damaged(rest, std::min(rest.find('<', 1), end + 2));
    }
    return taken({LineKind::message, rest.substr(0, end + 2), payload(rest, end), {}});
  }

  static std::string_view payload(std::string_view rest, std::size_t end) {
    return rest.substr(1, end - 1 - digits);
  }

  // Whether the frame ends at this place: the checksum before it is valid.
  static bool endsHere(std::string_view rest, std::size_t end) {
    if (end < 1 + digits) return false;
    const std::string_view summed = payload(rest, end);
    return checksum(summed) == hexadecimal(rest.substr(end - digits, digits)) && isAscii(summed);
  }

  // Whether the end at this place is that of a later line, after a document that was cut off; by
  // chance its checksum may be right for the document as well.
  static bool isLaterLine(std::string_view rest, std::size_t end) {
    const std::size_t begin = rest.rfind('<', end);
    return begin != 0 && endsHere(rest.substr(begin), end - begin);
  }

  static bool isAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char character) { return static_cast<unsigned char>(character) < 0x80; });
  }

  static std::optional<std::uint16_t> hexadecimal(std::string_view text) {
    unsigned value = 0;
    for (const char digit : text) {
      const std::size_t place = std::string_view("0123456789ABCDEF").find(digit);
      if (place == none) return std::nullopt;
      value = value << 4U | static_cast<unsigned>(place);
    }
    return static_cast<std::uint16_t>(value);
  }

  // The time in "<@hh:mm:ss.mmm : "; rest has to be long enough.
  static std::optional<LogTime> logTime(std::string_view rest) {
    const bool punctuated =
        rest[4] == ':' && rest[7] == ':' && rest[10] == '.' && rest.substr(14, 3) == " : ";
    const int hour = decimal(rest.substr(2, 2));
    const int minute = decimal(rest.substr(5, 2));
    const int second = decimal(rest.substr(8, 2));
    const int millisecond = decimal(rest.substr(11, 3));
    if (!punctuated || std::min({hour, minute, second, millisecond}) < 0) return std::nullopt;
    if (hour > 23 || minute > 59 || second > 59) return std::nullopt;
    return LogTime{hour, minute, second, millisecond};
  }

  // -1 for anything but digits.
  static int decimal(std::string_view text) {
    int value = 0;
    for (const char digit : text) {
      if (digit < '0' || digit > '9') return -1;
      value = value * 10 + (digit - '0');
    }
    return value;
  }

  std::optional<Line> unfinished(std::string_view rest, std::size_t longest, std::size_t stop) {
    return unfinished(rest, longest, std::min(stop, rest.size()), rest.size());
  }

  // For a line without an end so far: waits for more bytes and then goes on at `scanned`; if no
  // more can belong to the line, its first `lost` bytes are damage.
  std::optional<Line> unfinished(std::string_view rest, std::size_t longest, std::size_t scanned,
                                 std::size_t lost) {
    if (finished_ || rest.size() == longest) return damaged(rest, lost);
    scanned_ = scanned;
    return std::nullopt;
  }

  Line damaged(std::string_view rest, std::size_t size) {
    return taken({LineKind::damaged, rest.substr(0, size), {}, {}});
  }

  Line taken(Line line) {
    const bool isDocument = line.bytes.starts_with("<PJSON;");
    line.mayBeDocument =
        line.kind == LineKind::damaged && (isDocument || sinceDocument_ < longestMessage);
    sinceDocument_ = isDocument ? 0 : std::min(sinceDocument_ + line.bytes.size(), longestMessage);
    begin_ += line.bytes.size();
    scanned_ = 0;
    return line;
  }

  std::string buffer_;
  std::size_t begin_ = 0;                       // where the bytes not yet returned begin
  std::size_t sinceDocument_ = longestMessage;  // bytes since the last one, up to this bound
  bool finished_ = false;
  std::size_t scanned_ = 0;  // bytes of the current line that were searched for its end
};

}  // namespace vornix_host
