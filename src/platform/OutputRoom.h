// How much may be written to a descriptor without waiting for its reader. One thread at a time.
#pragma once

#include <algorithm>
#include <cstddef>

namespace platform {

class OutputRoom {
 public:
  // How many of the wanted bytes the next write may carry without blocking: 0 while the reader's
  // buffer is full. What is granted counts as written. Asks the system only when that is used up.
  //
  // Valid as long as no other program writes there. When the reader is gone everything is granted:
  // the write fails at once and does not block.
  std::size_t take(int descriptor, std::size_t wanted) {
    if (wanted > left_) ask(descriptor, wanted);
    const std::size_t granted = std::min(wanted, left_);
    left_ = isForOneWrite_ ? 0 : left_ - granted;
    return granted;
  }

 private:
  void ask(int descriptor, std::size_t wanted);
  void askPipe(int descriptor, std::size_t wanted);

  std::size_t left_ = 0;
  bool isForOneWrite_ = false;
};

}  // namespace platform
