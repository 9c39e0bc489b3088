// The layer's main loop in a program in which time is the stand-in's own: it goes on when the layer
// waits, and nothing happens at any other time.
#include <poll.h>

#include <algorithm>
#include <chrono>

#import "platform/corebluetooth/MainLoop.h"
#include "support/corebluetooth/Air.h"

@interface VornixWakeUp : NSObject
@end

@implementation VornixWakeUp
@end

namespace platform::corebluetooth {
namespace {

using standin::Air;

constexpr double kStart = 1'600'000'000.0;  // any date

lab::Microseconds passed{0};

lab::Microseconds timeAfter(double seconds) {
  return passed +
         std::chrono::duration_cast<lab::Microseconds>(std::chrono::duration<double>(seconds));
}

void passUntil(lab::Microseconds time) {
  passed = std::max(passed, time);
}

}  // namespace

MainLoop::MainLoop() : keepAlive_(nil), wakeUp_(nil) {
  Air::shared().drive([] { return passed; });
}

MainLoop::~MainLoop() = default;

void MainLoop::sleep(std::chrono::microseconds duration) {
  passUntil(passed + duration);
}

double MainLoop::date() const {
  return kStart + time();
}

double MainLoop::time() const {
  return std::chrono::duration<double>(passed).count();
}

void MainLoop::turn(double seconds) {
  Air& air = Air::shared();
  const lab::Microseconds limit = timeAfter(seconds) + lab::Microseconds(1);
  const auto next = air.next();
  passUntil(next && *next <= limit ? *next : limit);
  if (next && *next <= limit) air.happen();
}

bool MainLoop::waitForOutput(int fileDescriptor, double seconds) {
  pollfd output{fileDescriptor, POLLOUT, 0};
  if (::poll(&output, 1, 0) != 0) return true;
  passUntil(timeAfter(seconds));
  return false;
}

void MainLoop::wake() {}

}  // namespace platform::corebluetooth
