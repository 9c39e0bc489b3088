// The bridge's platform on Linux: BlueZ, over D-Bus.
#pragma once

#include <memory>

#include "platform/Platform.h"
#include "platform/bluez/Loop.h"

namespace platform::bluez {

class BluezPlatform final : public Platform {
 public:
  explicit BluezPlatform(std::unique_ptr<Clock> clock);
  ~BluezPlatform() override;

  std::unique_ptr<CBCentralManager> makeCentralManager(CBCentralManagerDelegate& delegate) override;
  void runUntil(double date) override;
  double now() const override;
  void sleep(std::chrono::microseconds duration) override;
  void deliverInto(Output& output) override;

 private:
  std::shared_ptr<Loop> loop_;  // shared with peripherals, which may be held for longer
};

}  // namespace platform::bluez
