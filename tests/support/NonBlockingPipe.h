// A pipe with both ends non-blocking, for every system (pipe2 is not on all of them).
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <array>

namespace support {

// False when the system has none left.
inline bool openNonBlockingPipe(std::array<int, 2>& ends) {
  if (::pipe(ends.data()) != 0) return false;
  for (const int end : ends) {
    if (::fcntl(end, F_SETFL, O_NONBLOCK) != 0) return false;
  }
  return true;
}

}  // namespace support
