// When lines were received that are cut out of pieces: each line has the time of the piece that its
// last byte came with.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>

#include "scope/Piece.h"

namespace scope {

class LineTimes {
 public:
  void received(std::size_t bytes, Time time) {
    if (bytes > 0) pieces_.push_back({end_ += bytes, time});
  }

  // The time of the next line, of so many bytes, at least one. All of them have been received.
  Time take(std::size_t bytes) {
    taken_ += bytes;
    while (pieces_.front().end < taken_) pieces_.pop_front();
    return pieces_.front().time;
  }

 private:
  struct Received {
    std::uint64_t end;
    Time time;
  };
  std::deque<Received> pieces_;
  std::uint64_t end_ = 0;
  std::uint64_t taken_ = 0;
};

}  // namespace scope
