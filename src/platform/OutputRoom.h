// How much may be written to a descriptor without waiting for its reader. One thread at a time.
#pragma once

#include <algorithm>
#include <cstddef>

namespace platform {

class OutputRoom {
 public:
  // How many of so many bytes one write may have now: 0 while the reader lets nothing more in. What
  // is granted counts as written. Asks the system only when what it said before is used up.
  //
  // It holds for as long as nobody else writes there. A reader that is gone lets everything in: the
  // write fails and harms nobody.
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
