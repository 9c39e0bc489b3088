#include "tests/unit/core/support/WallClock.h"

#include <stdlib.h>
#include <time.h>

#include <chrono>

namespace {

using std::chrono::system_clock;

bool driven = false;
timespec instant{};

void useZone(const char* zone) {
  if (zone != nullptr) {
    setenv("TZ", zone, 1);
  } else {
    unsetenv("TZ");
  }
  tzset();
}

}  // namespace

// Replaces the standard library's function in the whole program.
system_clock::time_point system_clock::now() noexcept {
  timespec time = instant;
  if (!driven) clock_gettime(CLOCK_REALTIME, &time);
  const auto sinceEpoch =
      std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
  return time_point(std::chrono::duration_cast<duration>(sinceEpoch));
}

namespace unit {

WallClock::WallClock(const std::string& zone, std::int64_t seconds, std::int64_t nanoseconds) {
  useZone(zone.c_str());
  instant.tv_sec = static_cast<time_t>(seconds);
  instant.tv_nsec = static_cast<long>(nanoseconds);
  driven = true;
}

WallClock::~WallClock() {
  driven = false;
  useZone(nullptr);
}

}  // namespace unit
