#import "corebluetooth/standin/Air.h"

#include <chrono>
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

Air& Air::shared() {
  static Air* const air = new Air;  // outlives every object that tells it of its end
  return *air;
}

void Air::add(lab::DeviceModel& model) {
  auto& device = devices_[&model];
  if (device == nullptr) device = std::make_unique<Device>(*this, model);
  appear(model);
}

void Air::vanish(lab::DeviceModel& model) {
  @autoreleasepool {
    devices_.at(&model)->setPresent(false);
  }
}

void Air::appear(lab::DeviceModel& model) {
  devices_.at(&model)->setPresent(true);
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

void Air::clear() {
  events_.clear();
  devices_.clear();
  state_ = CBManagerStatePoweredOn;
  isScanning_ = false;
  misuses = 0;
}

void Air::startScan() {
  isScanning_ = true;
  for (const auto& [model, device] : devices_) {
    device->scanStarts();
    report(*device);
  }
}

void Air::report(Device& device) {
  post([this, &device] {
    if (!isScanning_ || !device.isAdvertising() || !device.isNews()) return;
    device.reported();
    CBPeripheral* const peripheral = device.object();
    [manager.delegate centralManager:manager
               didDiscoverPeripheral:peripheral
                   advertisementData:@{}
                                RSSI:@(-50)];
  });
}

lab::Microseconds Air::now() const {
  if (eventTime_) return *eventTime_;
  return std::chrono::duration_cast<lab::Microseconds>(
      std::chrono::steady_clock::now().time_since_epoch());
}

void Air::after(lab::Microseconds delay, std::function<void()> action) {
  const auto entered = events_.emplace(now() + delay, std::move(action));
  if (entered == events_.begin() && !eventTime_) schedule();
}

// What was due while the run loop did not turn happens at its own time, before what came later: the
// devices do not stand still meanwhile.
void Air::runDue() {
  const lab::Microseconds limit = now();
  while (!events_.empty() && events_.begin()->first <= limit) {
    const auto event = events_.extract(events_.begin());
    eventTime_ = event.key();
    @autoreleasepool {
      event.mapped()();
    }
  }
  eventTime_.reset();
  schedule();
}

void Air::schedule() {
  [NSObject cancelPreviousPerformRequestsWithTarget:sharedClock()];
  if (events_.empty()) return;
  const std::chrono::duration<double> wait = events_.begin()->first - now();
  [sharedClock() performSelector:@selector(tick) withObject:nil afterDelay:wait.count()];
}

}  // namespace standin
