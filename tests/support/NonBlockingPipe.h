// A pipe none of whose ends ever waits, on every system.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <array>

namespace support {

// False when there is none.
inline bool openNonBlockingPipe(std::array<int, 2>& ends) {
  if (::pipe(ends.data()) != 0) return false;
  for (const int end : ends) {
    if (::fcntl(end, F_SETFL, O_NONBLOCK) != 0) return false;
  }
  return true;
}

}  // namespace support
