// What a contract test needs of the implementation under test: a platform, and devices that it can
// hear. One bench per test.
#pragma once

#include <functional>
#include <memory>

#include "contract/ContractDevice.h"
#include "platform/Platform.h"

namespace contract {

class Bench {
 public:
  Bench() = default;
  Bench(const Bench&) = delete;
  Bench& operator=(const Bench&) = delete;
  virtual ~Bench() = default;

  virtual platform::Platform& platform() = 0;

  // As if the bridge's process ended and another one began; the devices and their links stay. To be
  // called without a manager and without references to peripherals.
  virtual void restartPlatform() = 0;

  // At most two devices in one test. The model outlives the bench.
  virtual void putOnAir(ContractDevice& model) = 0;
  virtual void vanish(ContractDevice& model) = 0;
  virtual void appear(ContractDevice& model) = 0;

  // The next link to the device is lost during service discovery.
  virtual void dropAtServiceDiscovery(ContractDevice& model) = 0;

  // The machine's radio.
  virtual void setPowered(bool powered) = 0;

  // Runs the action on the models' thread and waits for it; what it changes takes effect.
  virtual void onDevices(const std::function<void()>& action) = 0;

  // For tests that something does not happen: the seconds within which it would have.
  virtual double settlingTime() const = 0;
};

// Each test program defines its own.
std::unique_ptr<Bench> makeBench();

}  // namespace contract
