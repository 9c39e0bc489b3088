// Lets a test set the wall clock of this process: std::chrono::system_clock, from which the code
// under test takes the time of day.
#pragma once

#include <cstdint>
#include <string>

namespace unit {

// While a WallClock exists, the wall clock stands at its instant and the local time zone is its
// zone (in the form of the variable TZ). Other clocks go on.
class WallClock {
 public:
  WallClock(const std::string& zone, std::int64_t seconds, std::int64_t nanoseconds);
  WallClock(const WallClock&) = delete;
  WallClock& operator=(const WallClock&) = delete;
  ~WallClock();
};

}  // namespace unit
