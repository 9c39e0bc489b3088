// The way from the pass-through to the process that watches: pieces in a pipe. The sender never
// waits. What finds no room is left out and counted, and the reader is told how much it was.
//
// In the pipe each piece is its number of bytes (4 bytes), its kind (1), its time (8) and its
// bytes; numbers as this machine has them, since both ends are one program.
#pragma once

#include <cstddef>
#include <functional>
#include <mutex>
#include <string>

#include "scope/Descriptor.h"
#include "scope/Piece.h"

namespace scope {

// May be used from several threads.
class TapSender {
 public:
  explicit TapSender(Descriptor pipe);

  // The bytes are copied into the pipe.
  void send(const Piece& piece);

  // Nothing more comes. What is half in the pipe is completed if the reader makes room within
  // some tenths of a second.
  void close();

 private:
  bool flush();

  std::mutex mutex_;
  Descriptor pipe_;
  std::string rest_;  // of a piece that is partly in the pipe
  std::size_t missed_ = 0;
};

// Of one thread.
class TapReader {
 public:
  explicit TapReader(Descriptor pipe) : pipe_(std::move(pipe)) {}

  // Waits up to so many milliseconds, then takes what is there. The views last as long as the call.
  // False when nothing more will come.
  bool read(int milliseconds, const std::function<void(const Piece&)>& take);

 private:
  Descriptor pipe_;
  std::string buffer_;
};

}  // namespace scope
