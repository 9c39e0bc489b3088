// The platform without a radio: scripted devices within the process, time that is driven or real. A
// complete implementation of the interface, as asynchronous as the others.
//
// Everything belongs to the main thread, except what the interface itself allows any thread. The
// platform outlives its managers; its peripherals are not used after it.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "lab/simulated/Air.h"
#include "lab/simulated/Device.h"
#include "platform/Platform.h"

namespace platform::simulated {

class Platform final : public platform::Platform {
 public:
  explicit Platform(TimeMode mode) : air_(mode) {}
  ~Platform() override;

  std::unique_ptr<CBCentralManager> makeCentralManager(CBCentralManagerDelegate& delegate) override;
  void runUntil(double date) override;
  double now() const override { return air_.clock.date(); }
  void sleep(std::chrono::microseconds duration) override { air_.clock.sleep(duration); }
  void deliverInto(Output& output) override { output_ = &output; }

  // Adds a device, which is switched off until Device::appear(). It lives as long as the platform.
  Device& addDevice(std::optional<std::string> name);

  // Sets the state of the radio, poweredOn at first. All links are lost when it leaves that state.
  void setState(CBManagerState state);

  // How long a new manager's state stays unknown.
  void setFirstStateDelay(Time delay) { firstStateDelay_ = delay; }

  // Schedules an action for runUntil: at a time since the start, or after a delay.
  void at(Time time, Timeline::Action action) { air_.timeline.at(time, std::move(action)); }
  void after(Time delay, Timeline::Action action) { air_.after(delay, std::move(action)); }
  Time time() const { return air_.clock.now(); }

 private:
  bool runNextEvent(Time limit);
  void deliver(Time end);
  bool mayDeliver();
  void wait(Time end);

  Air air_;
  Time firstStateDelay_{0};
  Output* output_ = nullptr;
};

}  // namespace platform::simulated
