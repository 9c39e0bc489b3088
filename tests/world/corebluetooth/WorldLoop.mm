// The layer's main loop in the world: it waits as the world goes on.
#include <chrono>

#import "platform/corebluetooth/MainLoop.h"
#import "tests/world/corebluetooth/AirScene.h"

@interface VornixWakeUp : NSObject
@end

@implementation VornixWakeUp
@end

namespace platform::corebluetooth {
namespace {

using world::AirScene;

constexpr double kStart = 1'700'000'000;  // seconds since 1970

// Rounded up: a wait that is too short would have no end.
std::chrono::microseconds durationOf(double seconds) {
  return std::chrono::ceil<std::chrono::microseconds>(std::chrono::duration<double>(seconds));
}

}  // namespace

MainLoop::MainLoop() : keepAlive_(nil), wakeUp_(nil) {}

MainLoop::~MainLoop() = default;

void MainLoop::sleep(std::chrono::microseconds duration) {
  AirScene::current().sleep(duration);
}

double MainLoop::date() const {
  return kStart + time();
}

double MainLoop::time() const {
  return std::chrono::duration<double>(AirScene::current().now()).count();
}

void MainLoop::turn(double seconds) {
  AirScene::current().turn(durationOf(seconds));
}

bool MainLoop::waitForOutput(int fileDescriptor, double seconds) {
  return AirScene::current().waitForOutput(fileDescriptor, durationOf(seconds));
}

void MainLoop::wake() {
  AirScene::current().wakeLoop();
}

}  // namespace platform::corebluetooth
