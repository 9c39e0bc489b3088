// The state that all parts of one simulation share.
#pragma once

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "lab/simulated/Clock.h"
#include "lab/simulated/Timeline.h"
#include "lab/simulated/WakeUp.h"
#include "platform/Platform.h"
#include "platform/shared/DeliveryQueue.h"
#include "platform/shared/Mailbox.h"

namespace platform::simulated {

class Central;
class Peripheral;

struct Air {
  explicit Air(TimeMode mode) : clock(mode) {}

  bool isPoweredOn() const { return radio == CBManagerState::poweredOn; }
  void after(Time delay, Timeline::Action action) {
    timeline.at(delay == kNever ? kNever : clock.now() + delay, std::move(action));
  }

  Clock clock;
  Timeline timeline;
  shared::DeliveryQueue deliveries;
  WakeUp wakeUp;
  shared::Mailbox mailbox{[this] { wakeUp.ring(); }};
  CBManagerState radio = CBManagerState::poweredOn;
  std::vector<std::shared_ptr<Peripheral>> peripherals;  // in the order in which they were added
  Central* central = nullptr;                            // the one manager, if it exists
  std::uint64_t managers = 0;                            // how many were made so far
};

}  // namespace platform::simulated
