// The program's output, for both of its threads: lines are written whole and in order, and no
// thread waits for the host while writing.
//
// What fits into the pipe is written at once, in one write. The rest is held back in memory, and so
// is every line after it, until letOut() finds room again. The amount is limited: while something
// is held back the platform makes no callbacks, and the reader thread takes no further command.
//
// All of this happens under the stream's own lock, which is held only for the time of a copy:
// nothing waits while it is held. Any thread may call all functions.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <list>
#include <string>
#include <string_view>

#include "platform/OutputRoom.h"
#include "platform/Platform.h"

class Output final : public platform::Output {
 public:
  // stream: unbuffered. The variable itself, such as stdout, since tests replace its value.
  explicit Output(std::FILE*& stream) : stream_(stream) {}
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  // Writes a line, or a piece of one whose writer holds the stream's lock until the line's end.
  void write(std::string_view bytes);

  bool holdsBack() const override { return isHolding_.load(std::memory_order_acquire); }
  void letOut() override;
  int descriptor() const override { return fileno(stream_); }

  // Waits until nothing is held back.
  void waitUntilOut();

  // For the end of the process: writes what is held back, unless the host takes longer than the
  // limit to read; afterwards nothing more is written.
  void close(std::chrono::milliseconds limit);

 private:
  class Turn;

  bool lockWithin(std::chrono::steady_clock::time_point end);
  std::ptrdiff_t writePiece(int to, std::string_view piece);
  std::size_t put(std::string_view bytes);
  void putHeld();

  std::FILE*& stream_;
  platform::OutputRoom room_;
  std::list<std::string> held_;
  std::size_t gone_ = 0;  // bytes of the first of them that are already written
  std::atomic<bool> isHolding_ = false;
};

// The one on stdout.
Output& standardOutput();
