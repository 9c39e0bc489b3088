#include "platform/bluez/BluezPlatform.h"

#include <algorithm>
#include <utility>

#include "platform/bluez/CentralManager.h"
#include "platform/bluez/SystemClock.h"

namespace platform {

namespace bluez {

BluezPlatform::BluezPlatform(std::unique_ptr<Clock> clock)
    : loop_(std::make_shared<Loop>(std::move(clock))) {}

// Waiting deliveries hold references to peripherals, and these to the loop.
BluezPlatform::~BluezPlatform() {
  loop_->close();
}

std::unique_ptr<CBCentralManager> BluezPlatform::makeCentralManager(
    CBCentralManagerDelegate& delegate) {
  return std::make_unique<CentralManager>(loop_, delegate, AdapterChoice::fromEnvironment());
}

namespace {

// Seconds. Practically for ever, but in nanoseconds still small enough to be added to any time.
constexpr double kLongestSlice = 1e9;

}  // namespace

// Converts the date to a time of the steady clock once, so that setting the system's clock
// meanwhile does not change the length of the slice.
void BluezPlatform::runUntil(double date) {
  const std::chrono::duration<double> slice(std::clamp(date - now(), 0.0, kLongestSlice));
  loop_->runUntil(loop_->clock().now() + std::chrono::duration_cast<Clock::Duration>(slice));
}

double BluezPlatform::now() const {
  return loop_->clock().date();
}

void BluezPlatform::sleep(std::chrono::microseconds duration) {
  loop_->clock().sleep(duration);
}

void BluezPlatform::deliverInto(Output& output) {
  loop_->gate().follow(output);
}

}  // namespace bluez

std::unique_ptr<Platform> makePlatform() {
  return std::make_unique<bluez::BluezPlatform>(std::make_unique<bluez::SystemClock>());
}

}  // namespace platform
