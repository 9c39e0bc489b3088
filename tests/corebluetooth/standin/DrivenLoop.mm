// The layer's main loop in a program in which time is the stand-in's own: it goes on when the layer
// waits, and nothing happens at any other time.
#include <poll.h>

#include <chrono>

#include "corebluetooth/standin/Air.h"
#import "platform/corebluetooth/MainLoop.h"

@interface VornixWakeUp : NSObject
@end

@implementation VornixWakeUp
@end

namespace platform::corebluetooth {
namespace {

using standin::Air;

constexpr double kStart = 1'600'000'000.0;  // any date

lab::Microseconds timeAfter(double seconds) {
  return Air::shared().now() +
         std::chrono::duration_cast<lab::Microseconds>(std::chrono::duration<double>(seconds));
}

}  // namespace

MainLoop::MainLoop() : keepAlive_(nil), wakeUp_(nil) {
  Air::shared().drive();
}

MainLoop::~MainLoop() = default;

void MainLoop::sleep(std::chrono::microseconds duration) {
  Air::shared().skipTo(Air::shared().now() + duration);
}

double MainLoop::date() const {
  return kStart + time();
}

double MainLoop::time() const {
  return std::chrono::duration<double>(Air::shared().now()).count();
}

void MainLoop::turn(double seconds) {
  Air::shared().advanceTo(timeAfter(seconds) + lab::Microseconds(1));
}

bool MainLoop::waitForOutput(int fileDescriptor, double seconds) {
  pollfd output{fileDescriptor, POLLOUT, 0};
  if (::poll(&output, 1, 0) != 0) return true;
  Air::shared().skipTo(timeAfter(seconds));
  return false;
}

void MainLoop::wake() {}

}  // namespace platform::corebluetooth
