#import "support/corebluetooth/Air.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <string>
#include <utility>

#import "support/corebluetooth/Device.h"
#import "support/corebluetooth/Framework.h"

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

Device& Air::deviceOf(lab::DeviceModel& model) const {
  const auto isIt = [&model](const auto& device) { return &device->model() == &model; };
  return **std::ranges::find_if(devices_, isIt);
}

void Air::add(lab::DeviceModel& model) {
  @autoreleasepool {
    const auto isIt = [&model](const auto& device) { return &device->model() == &model; };
    if (std::ranges::none_of(devices_, isIt)) {
      devices_.push_back(std::make_unique<Device>(*this, model, devices_.size()));
    }
    appear(model);
  }
}

void Air::vanish(lab::DeviceModel& model) {
  @autoreleasepool {
    deviceOf(model).setPresent(false);
  }
}

void Air::appear(lab::DeviceModel& model) {
  deviceOf(model).setPresent(true);
}

void Air::dropLink(lab::DeviceModel& model) {
  deviceOf(model).drop();
}

void Air::whenAsked(lab::DeviceModel& model, std::size_t times, std::function<void()> action) {
  deviceOf(model).whenAsked(times, std::move(action));
}

void Air::holdByAnother(lab::DeviceModel& model) {
  @autoreleasepool {
    deviceOf(model).setHeld(true);
  }
}

void Air::releaseByAnother(lab::DeviceModel& model) {
  @autoreleasepool {
    deviceOf(model).setHeld(false);
  }
}

void Air::modifyServices(lab::DeviceModel& model) {
  deviceOf(model).modifyServices();
}

Faults& Air::faultsOf(lab::DeviceModel& model) {
  return deviceOf(model).faults;
}

lab::StackDevice& Air::seen(lab::DeviceModel& model) {
  return deviceOf(model);
}

void Air::wake() {
  for (const auto& device : devices_) device->wake();
}

void Air::setState(long state) {
  state_ = state;
  if (state != CBManagerStatePoweredOn) {
    isScanning_ = false;
    @autoreleasepool {
      for (const auto& device : devices_) device->radioDidGoOff();
    }
  }
  if (manager != nil) [manager radioHasChanged];
}

void Air::setSeed(std::uint64_t seed) {
  random_.reset();
  if (seed != 0) random_.emplace(seed);
}

void Air::drive(std::function<lab::Microseconds()> clock) {
  clock_ = std::move(clock);
}

void Air::forgetRequests() {
  isScanning_ = false;
  for (const auto& device : devices_) device->forgetRequests();
}

void Air::forgetProgram() {
  @autoreleasepool {
    ++program_;
    manager = nil;
    stopScan();
    held_.clear();
    for (const auto& device : devices_) device->forgetProgram();
  }
}

void Air::clear() {
  events_.clear();
  held_.clear();
  devices_.clear();
  setSeed(0);
  calls_ = callbacks_ = {};
  delayedUntil_ = lab::Microseconds{0};
  underWay_ = 0;
  isTurning_ = true;
  state_ = CBManagerStatePoweredOn;
  authorization = kAllowedAlways;
  isScanning_ = false;
  misuses = connectionAttempts = reports = 0;
}

void Air::startScan(bool isRepeating) {
  isScanning_ = true;
  isRepeating_ = isRepeating;
  for (const auto& device : devices_) {
    device->scanStarts();
    report(*device);
  }
}

void Air::report(Device& device) {
  post([this, &device] {
    if (!isScanning_ || state_ != CBManagerStatePoweredOn) return;
    if (!device.isAdvertising() || !device.isNews()) return;
    ++reports;
    device.reported();
  });
}

lab::Microseconds Air::now() const {
  if (eventTime_) return *eventTime_;
  if (clock_) return clock_();
  return std::chrono::duration_cast<lab::Microseconds>(
      std::chrono::steady_clock::now().time_since_epoch());
}

void Air::after(lab::Microseconds delay, std::function<void()> action) {
  const auto entered = events_.emplace(now() + delay, std::move(action));
  if (entered == events_.begin() && !eventTime_) schedule();
}

void Air::pass(lab::Microseconds delay, std::function<void()> action) {
  ++underWay_;
  after(delay, [this, action = std::move(action)] {
    --underWay_;
    action();
  });
}

void Air::enter(Way& way, std::function<void()> action) {
  way.last = std::max({way.last, now() + delay(), delayedUntil_});
  pass(way.last - now(), std::move(action));
}

void Air::tell(std::function<void()> action) {
  enter(callbacks_, [this, program = program_, action = std::move(action)] {
    if (program != program_) return;
    if (!isTurning_) return held_.push_back(action);
    ++callbacks;
    action();
  });
}

void Air::setTurning(bool isTurning) {
  isTurning_ = isTurning;
  while (isTurning_ && !held_.empty()) {
    const std::function<void()> action = std::move(held_.front());
    held_.pop_front();
    ++callbacks;
    @autoreleasepool {
      action();
    }
  }
}

// Mostly short, now and then long enough for much else to happen.
lab::Microseconds Air::delay() {
  if (!random_) return lab::Microseconds{0};
  const bool isLong = (*random_)() % 8 == 0;
  return lab::Microseconds((*random_)() % (isLong ? 30'000 : 1'000));
}

std::optional<lab::Microseconds> Air::next() const {
  return events_.empty() ? std::nullopt : std::optional(events_.begin()->first);
}

// What is called may throw.
void Air::happen() {
  const auto event = events_.extract(events_.begin());
  const struct Happening {
    std::optional<lab::Microseconds>& time;
    ~Happening() { time.reset(); }
  } happening{eventTime_};
  eventTime_ = event.key();
  @autoreleasepool {
    event.mapped()();
  }
}

// What was due while the run loop did not turn happens at its own time, before what came later: the
// devices do not stand still meanwhile.
void Air::runDue() {
  const lab::Microseconds limit = now();
  while (!events_.empty() && events_.begin()->first <= limit) happen();
  schedule();
}

void Air::schedule() {
  if (clock_) return;
  [NSObject cancelPreviousPerformRequestsWithTarget:sharedClock()];
  if (events_.empty()) return;
  const std::chrono::duration<double> wait = events_.begin()->first - now();
  [sharedClock() performSelector:@selector(tick) withObject:nil afterDelay:wait.count()];
}

}  // namespace standin
