// The session's clock.
#pragma once

#include <chrono>

#include "scope/Piece.h"

namespace scope {

// Microseconds of the monotonic clock since the first call, which begins the session. Processes
// that are forked afterwards go on with the same beginning.
inline Time sessionTime() {
  using Clock = std::chrono::steady_clock;
  static const Clock::time_point begin = Clock::now();
  return std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - begin).count();
}

// Microseconds since 1970.
inline Time wallTime() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

}  // namespace scope
