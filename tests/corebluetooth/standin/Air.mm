#import "corebluetooth/standin/Air.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <string>
#include <utility>

#import "corebluetooth/standin/Device.h"
#import "corebluetooth/standin/Framework.h"

@interface StandInClock : NSObject
- (void)tick;
@end

@implementation StandInClock
- (void)tick {
  standin::Air::shared().runDue();
}
@end

namespace standin {

namespace {

StandInClock* sharedClock() {
  static StandInClock* const clock = [StandInClock new];
  return clock;
}

}  // namespace

std::uint64_t nextSeed() {
  static const char* const first = std::getenv("VORNIX_SEED");
  static std::uint64_t next = first != nullptr ? std::stoull(first) : 0;
  return first != nullptr ? next++ : 0;
}

Air& Air::shared() {
  static Air* const air = new Air;  // outlives every object that tells it of its end
  return *air;
}

void Air::add(lab::DeviceModel& model) {
  @autoreleasepool {
    auto& device = devices_[&model];
    if (device == nullptr) device = std::make_unique<Device>(*this, model);
    appear(model);
  }
}

void Air::vanish(lab::DeviceModel& model) {
  @autoreleasepool {
    devices_.at(&model)->setPresent(false);
  }
}

void Air::appear(lab::DeviceModel& model) {
  devices_.at(&model)->setPresent(true);
}

void Air::holdByAnother(lab::DeviceModel& model) {
  @autoreleasepool {
    devices_.at(&model)->holdByAnother();
  }
}

void Air::modifyServices(lab::DeviceModel& model) {
  devices_.at(&model)->modifyServices();
}

Faults& Air::faultsOf(lab::DeviceModel& model) {
  return devices_.at(&model)->faults;
}

void Air::wake() {
  for (const auto& [model, device] : devices_) device->wake();
}

void Air::setState(long state) {
  state_ = state;
  if (state != CBManagerStatePoweredOn) {
    isScanning_ = false;
    @autoreleasepool {
      for (const auto& [model, device] : devices_) device->radioIsOff();
    }
  }
  if (manager != nil) [manager radioHasChanged];
}

void Air::setSeed(std::uint64_t seed) {
  random_.reset();
  if (seed != 0) random_.emplace(seed);
}

void Air::drive() {
  if (!driven_) driven_ = lab::Microseconds{0};
}

void Air::clear() {
  events_.clear();
  devices_.clear();
  setSeed(0);
  calls_ = callbacks_ = {};
  state_ = CBManagerStatePoweredOn;
  authorization = kAllowedAlways;
  isScanning_ = false;
  misuses = connectionAttempts = reports = 0;
}

void Air::startScan(bool isRepeating) {
  isScanning_ = true;
  isRepeating_ = isRepeating;
  for (const auto& [model, device] : devices_) {
    device->scanStarts();
    report(*device);
  }
}

void Air::report(Device& device) {
  post([this, &device] {
    if (!isScanning_ || !device.isAdvertising() || !device.isNews()) return;
    ++reports;
    device.reported();
  });
}

lab::Microseconds Air::now() const {
  if (eventTime_) return *eventTime_;
  if (driven_) return *driven_;
  return std::chrono::duration_cast<lab::Microseconds>(
      std::chrono::steady_clock::now().time_since_epoch());
}

void Air::after(lab::Microseconds delay, std::function<void()> action) {
  const auto entered = events_.emplace(now() + delay, std::move(action));
  if (entered == events_.begin() && !eventTime_) schedule();
}

void Air::enter(Way& way, std::function<void()> action) {
  way.last = std::max(way.last, now() + delay());
  after(way.last - now(), std::move(action));
}

// Mostly short, now and then long enough for much else to happen.
lab::Microseconds Air::delay() {
  if (!random_) return lab::Microseconds{0};
  const bool isLong = (*random_)() % 8 == 0;
  return lab::Microseconds((*random_)() % (isLong ? 30'000 : 1'000));
}

bool Air::advanceTo(lab::Microseconds time) {
  if (events_.empty() || events_.begin()->first > time) {
    driven_ = std::max(*driven_, time);
    return false;
  }
  driven_ = std::max(*driven_, events_.begin()->first);
  happen();
  return true;
}

void Air::skipTo(lab::Microseconds time) {
  driven_ = std::max(*driven_, time);
}

void Air::happen() {
  const auto event = events_.extract(events_.begin());
  eventTime_ = event.key();
  @autoreleasepool {
    event.mapped()();
  }
  eventTime_.reset();
}

// What was due while the run loop did not turn happens at its own time, before what came later: the
// devices do not stand still meanwhile.
void Air::runDue() {
  const lab::Microseconds limit = now();
  while (!events_.empty() && events_.begin()->first <= limit) happen();
  schedule();
}

void Air::schedule() {
  if (driven_) return;
  [NSObject cancelPreviousPerformRequestsWithTarget:sharedClock()];
  if (events_.empty()) return;
  const std::chrono::duration<double> wait = events_.begin()->first - now();
  [sharedClock() performSelector:@selector(tick) withObject:nil afterDelay:wait.count()];
}

}  // namespace standin
