#include "scope/record/Replay.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <optional>
#include <string_view>

#include "scope/Clock.h"
#include "scope/Descriptor.h"
#include "scope/Ending.h"
#include "scope/record/Reader.h"

namespace scope {
namespace {

// Whether the host wants the end. Reads for at most so long, and not beyond the end of input.
class HostOrders {
 public:
  bool isEnd(Time patience) {
    const Time until = sessionTime() + patience;
    for (;;) {
      const Time left = std::max<Time>(until - sessionTime(), 0);
      if (!isReadable(STDIN_FILENO, static_cast<int>(std::min<Time>(left / 1000, 1000)))) {
        if (left >= 1000) continue;
        ::usleep(static_cast<useconds_t>(left));
        return false;
      }
      std::array<char, 4096> room{};
      const std::size_t count = readSome(STDIN_FILENO, room);
      if (count == 0 || hasKill({room.data(), count})) return true;
    }
  }

 private:
  bool hasKill(std::string_view bytes) {
    for (const char byte : bytes) {
      if (byte != '\n') {
        line_ += byte;
        continue;
      }
      if (line_ == "kill" || line_ == "kill\r") return true;
      line_.clear();
    }
    if (line_.size() > 4096) line_.resize(4096);  // too long for "kill" already
    return false;
  }

  std::string line_;
};

// A session goes on in the next file after a rotation, with the same beginning; within one file
// each one is its own.
int countSessions(const std::string& path) {
  RecordingReader reader(path);
  int count = 0;
  while (const std::optional<Piece> piece = reader.next()) {
    if (piece->kind == Kind::session) ++count;
  }
  return count;
}

}  // namespace

Ending replay(const std::string& path, double speed) {
  int before = countSessions(path) - 1;
  RecordingReader reader(path);
  HostOrders orders;
  std::optional<Time> first;
  const Time begin = sessionTime();
  while (const std::optional<Piece> piece = reader.next()) {
    if (piece->kind == Kind::session) --before;
    if (before >= 0) continue;
    if (piece->kind == Kind::end) {
      return toEnding(piece->bytes).value_or(Ending{});
    }
    if (piece->kind != Kind::output) continue;
    if (!first) first = piece->time;
    const auto due =
        speed == 0 ? Time{0} : static_cast<Time>(static_cast<double>(piece->time - *first) / speed);
    if (orders.isEnd(begin + due - sessionTime())) return {};
    if (!writeAll(STDOUT_FILENO, piece->bytes)) return {true, SIGPIPE};
  }
  return {};
}

}  // namespace scope
