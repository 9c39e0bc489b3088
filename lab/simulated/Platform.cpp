#include "lab/simulated/Platform.h"

#include <poll.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "lab/simulated/Central.h"
#include "lab/simulated/Peripheral.h"

namespace platform::simulated {
namespace {

// Rounded up: rounded down, poll would return before the time.
int millisecondsUntil(Time duration) {
  constexpr std::chrono::milliseconds kMost{std::numeric_limits<int>::max()};
  const auto rounded = std::chrono::ceil<std::chrono::milliseconds>(duration);
  return static_cast<int>(std::clamp(rounded, std::chrono::milliseconds{0}, kMost).count());
}

}  // namespace

Platform::~Platform() {
  air_.deliveries.close();  // before the peripherals and the manager that it delivers to
}

std::unique_ptr<CBCentralManager> Platform::makeCentralManager(CBCentralManagerDelegate& delegate) {
  return std::make_unique<Central>(air_, delegate, firstStateDelay_);
}

Device& Platform::addDevice(std::optional<std::string> name) {
  Device& device = air_.peripherals.emplace_back(std::make_shared<Peripheral>(air_))->device();
  device.setName(std::move(name));
  return device;
}

void Platform::setState(CBManagerState state) {
  if (std::exchange(air_.radio, state) == state) return;
  if (air_.central != nullptr) air_.central->radioDidChange();
  for (const auto& peripheral : air_.peripherals) {
    if (!air_.isPoweredOn()) peripheral->loseLink();
    peripheral->tryToConnect();
  }
}

// While the output holds back deliveries, events go on and what devices send is queued.
void Platform::runUntil(double date) {
  const Time end = air_.clock.timeOf(date);
  const bool isDriven = air_.clock.isDriven();
  do {
    deliver(end);
    air_.wakeUp.takeBack();
    air_.mailbox.serve();
    if (runNextEvent(isDriven ? end : air_.clock.now())) continue;
    if (isDriven) return air_.clock.advanceTo(end);
    wait(end);
  } while (isDriven || air_.clock.now() < end);
}

bool Platform::runNextEvent(Time limit) {
  const std::optional<Time> next = air_.timeline.next();
  if (!next || *next > limit) return false;
  if (air_.clock.isDriven()) air_.clock.advanceTo(*next);
  const Timeline::Action action = air_.timeline.takeNext();
  action();
  return true;
}

void Platform::deliver(Time end) {
  while (mayDeliver() && !air_.deliveries.isEmpty()) {
    air_.deliveries.deliverNext();
    if (!air_.clock.isDriven() && air_.clock.now() >= end) return;
  }
}

bool Platform::mayDeliver() {
  if (output_ == nullptr || !output_->holdsBack()) return true;
  output_->letOut();
  return !output_->holdsBack();
}

void Platform::wait(Time end) {
  const Time until = std::min(end, air_.timeline.next().value_or(end));
  const bool isHeldBack = output_ != nullptr && output_->holdsBack();
  pollfd descriptors[] = {{air_.wakeUp.descriptor(), POLLIN, 0},
                          {isHeldBack ? output_->descriptor() : -1, POLLOUT, 0}};
  ::poll(descriptors, 2, millisecondsUntil(until - air_.clock.now()));
}

}  // namespace platform::simulated
