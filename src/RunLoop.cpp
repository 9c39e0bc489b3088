#include "RunLoop.h"

#include "Precondition.h"
#include "Utils.h"

namespace {

constexpr double kSlice = 1.0;       // seconds
constexpr double kLongestScan = 60;  // seconds after the first connection request

bool scanHasLastedLongEnough(const ComBLE& comBLE, double now) {
  const bool tooLong = comBLE.datePremiereConn != 0 && comBLE.datePremiereConn + kLongestScan < now;
  return tooLong || (comBLE.comCorvelta && comBLE.comSonde && comBLE.comTramsel);
}

}  // namespace

void turnRunLoop(platform::Platform& platform, ComBLE& comBLE) {
  platform.runUntil(platform.now() + kSlice);
  if (!comBLE.scanEnCours || !scanHasLastedLongEnough(comBLE, platform.now())) return;
  writeLine("Stop Scan");
  comBLE.scanEnCours = false;
  require(comBLE.manager != nullptr);
  comBLE.manager->stopScan();
}
