// The wall clock of this process, as a test sets it. What is driven is std::chrono::system_clock,
// from which the code under test takes the time of day.
#pragma once

#include <cstdint>
#include <string>

namespace unit {

// While one lives, the wall clock stands at the given instant, and the local time zone is the given
// one (as the variable TZ has it). Other clocks go on.
class WallClock {
 public:
  WallClock(const std::string& zone, std::int64_t seconds, std::int64_t nanoseconds);
  WallClock(const WallClock&) = delete;
  WallClock& operator=(const WallClock&) = delete;
  ~WallClock();
};

}  // namespace unit
