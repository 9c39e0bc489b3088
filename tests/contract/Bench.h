// What a contract test needs of the implementation under test: a platform, and a place where
// devices can be put on its air. One bench per test.
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

  // As if the bridge's process ended and another one began; the devices and their links stay. There
  // is no manager at that time, and nobody holds a peripheral.
  virtual void restartPlatform() = 0;

  // At most two in one test. The model outlives the bench.
  virtual void putOnAir(ContractDevice& model) = 0;
  virtual void vanish(ContractDevice& model) = 0;
  virtual void appear(ContractDevice& model) = 0;

  // The next link to it is lost while the services are being looked for.
  virtual void dropAtServiceDiscovery(ContractDevice& model) = 0;

  // The machine's radio.
  virtual void setPowered(bool powered) = 0;

  // Runs this where the models run, and waits for it; what it changes takes effect.
  virtual void onDevices(const std::function<void()>& action) = 0;

  // Seconds in which something that must not happen would have happened.
  virtual double settlingTime() const = 0;
};

// The program's own.
std::unique_ptr<Bench> makeBench();

}  // namespace contract
