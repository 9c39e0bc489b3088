#include "Output.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <thread>

using namespace std::chrono_literals;
using Time = std::chrono::steady_clock::time_point;

namespace {

Time now() {
  return std::chrono::steady_clock::now();
}

// Waits until the descriptor accepts output. A negative time waits for ever.
void waitFor(int descriptor, std::chrono::milliseconds time) {
  pollfd output{descriptor, POLLOUT, 0};
  ::poll(&output, 1, static_cast<int>(time.count()));
}

}  // namespace

// Holds the stream's lock, which protects what is held back. The atomic flag is read and written as
// well, for the thread sanitizer, which does not know this lock.
class Output::Turn {
 public:
  explicit Turn(Output& output) : output_(output) {
    flockfile(output.stream_);
    static_cast<void>(output.holdsBack());
  }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;
  ~Turn() {
    output_.isHolding_.store(!output_.held_.empty(), std::memory_order_release);
    funlockfile(output_.stream_);
  }

 private:
  Output& output_;
};

void Output::write(std::string_view bytes) {
  const Turn turn(*this);
  const std::size_t count = held_.empty() ? put(bytes) : 0;
  if (count < bytes.size()) held_.emplace_back(bytes.substr(count));
}

void Output::letOut() {
  const Turn turn(*this);
  putHeld();
}

void Output::waitUntilOut() {
  while (holdsBack()) {
    waitFor(descriptor(), -1ms);
    letOut();
  }
}

void Output::close(std::chrono::milliseconds limit) {
  const Time end = now() + limit;
  if (!lockWithin(end)) return;
  for (putHeld(); !held_.empty() && now() < end; putHeld()) {
    waitFor(descriptor(), std::chrono::ceil<std::chrono::milliseconds>(end - now()));
  }
}

// Polls, since a stream's lock cannot be waited for with a time limit.
bool Output::lockWithin(Time end) {
  while (ftrylockfile(stream_) != 0) {
    if (now() >= end) return false;
    std::this_thread::sleep_for(1ms);
  }
  static_cast<void>(holdsBack());
  return true;
}

// Writes to the descriptor and not to the stream, which would take an eighth longer. A stream
// without a descriptor, as in a program that keeps its output in memory, accepts everything.
std::ptrdiff_t Output::writePiece(int to, std::string_view piece) {
  if (to >= 0) return ::write(to, piece.data(), piece.size());
  std::fwrite(piece.data(), 1, piece.size(), stream_);
  return static_cast<std::ptrdiff_t>(piece.size());
}

// Returns how many of the bytes were written. Those that cannot be written since the reader is gone
// count as written: a host that is gone has closed the bridge's input as well, which ends the
// bridge.
std::size_t Output::put(std::string_view bytes) {
  const int to = descriptor();
  std::size_t out = 0;
  while (out < bytes.size()) {
    const std::size_t piece = room_.take(to, bytes.size() - out);
    if (piece == 0) break;
    const std::ptrdiff_t written = writePiece(to, bytes.substr(out, piece));
    if (written >= 0) {
      out += static_cast<std::size_t>(written);
    } else if (errno == EAGAIN) {
      break;
    } else if (errno != EINTR) {
      return bytes.size();
    }
  }
  return out;
}

void Output::putHeld() {
  while (!held_.empty()) {
    const std::string& first = held_.front();
    gone_ += put(std::string_view(first).substr(gone_));
    if (gone_ < first.size()) return;
    held_.pop_front();
    gone_ = 0;
  }
}

Output& standardOutput() {
  static Output output(stdout);
  return output;
}
