// What the program writes to, for both of its threads: lines come out whole, in the order in which
// they were written, and nobody waits for the reader while writing.
//
// What the reader has room for goes out at once, in one write. The rest is held back
// in memory, and so is every line after it, until letOut() finds room again. The amount has a
// bound: while something is held back the platform makes no callbacks, and the reader of commands
// takes no further one.
//
// All of it happens under the stream's own lock, which is held for no longer than it takes to copy:
// nothing under it waits. Any thread may call anything.
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
  // stream: a variable, as stdout is one; unbuffered.
  explicit Output(std::FILE*& stream) : stream_(stream) {}
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  // A line, or a piece of one whose writer has the stream locked until its end.
  void write(std::string_view bytes);

  bool holdsBack() const override { return isHolding_.load(std::memory_order_acquire); }
  void letOut() override;
  int descriptor() const override { return fileno(stream_); }

  // Waits for the reader until nothing is held back.
  void waitUntilOut();

  // Before the process ends: what has been written comes out, unless the reader needs longer than
  // the limit, and nothing more is written.
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
  std::size_t gone_ = 0;  // bytes of the first of them that are out
  std::atomic<bool> isHolding_ = false;
};

// The process's.
Output& standardOutput();
