#include "tests/unit/support/WallClock.h"

#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <cstdlib>

namespace {

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

// Stands in the place of the C library's function for the whole program, the standard library
// included. Not instrumented: a sanitizer's own start comes here before it is ready.
extern "C" __attribute__((no_sanitize("address", "thread", "undefined"))) int clock_gettime(
    clockid_t clock, timespec* result) noexcept {
  if (driven && clock == CLOCK_REALTIME) {
    *result = instant;
    return 0;
  }
  return static_cast<int>(syscall(SYS_clock_gettime, clock, result));
}

namespace unit {

WallClock::WallClock(const std::string& zone, std::int64_t seconds, std::int64_t nanoseconds) {
  useZone(zone.c_str());
  instant = {seconds, nanoseconds};
  driven = true;
}

WallClock::~WallClock() {
  driven = false;
  useZone(nullptr);
}

}  // namespace unit
