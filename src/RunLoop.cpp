#include "RunLoop.h"

#include <poll.h>
#include <unistd.h>

#include "Precondition.h"
#include "Utils.h"

namespace {

constexpr double kSlice = 1.0;       // seconds
constexpr double kLongestScan = 60;  // seconds after the first connection request

bool scanHasLastedLongEnough(const ComBLE& comBLE, double now) {
  const bool tooLong = comBLE.datePremiereConn != 0 && comBLE.datePremiereConn + kLongestScan < now;
  return tooLong || (comBLE.comCorvelta && comBLE.comSonde && comBLE.comTramsel);
}

bool hostIsReading() {
  pollfd output{STDOUT_FILENO, POLLOUT, 0};
  return ::poll(&output, 1, 0) != 0;
}

}  // namespace

// A line for a host that does not read would hold this thread up, and the devices' values with it:
// the stop waits for the host, as the values do.
void turnRunLoop(platform::Platform& platform, ComBLE& comBLE) {
  platform.runUntil(platform.now() + kSlice);
  if (!comBLE.scanEnCours || !scanHasLastedLongEnough(comBLE, platform.now())) return;
  if (!hostIsReading()) return;
  writeLine("Stop Scan");
  comBLE.scanEnCours = false;
  require(comBLE.manager != nullptr);
  comBLE.manager->stopScan();
}
