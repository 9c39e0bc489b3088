// The bridge's manager on the simulated radio: its state, its scan, what it has been told. Main
// thread.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>

#include "lab/simulated/Air.h"
#include "platform/Platform.h"

namespace platform::simulated {

class Peripheral;

class Central final : public CBCentralManager {
 public:
  Central(Air& air, CBCentralManagerDelegate& delegate, Time firstStateDelay);
  ~Central() override;

  CBManagerState state() const override { return state_; }
  void scanForPeripherals() override;
  void stopScan() override { scan_ = kNoScan; }
  void connect(const std::shared_ptr<CBPeripheral>& peripheral) override;

  // What happens on the air.
  void radioDidChange();
  void advertises(Peripheral& peripheral);
  void nameDidChange(Peripheral& peripheral);
  void linkDidComeUp(Peripheral& peripheral);
  void linkDidGoDown(Peripheral& peripheral);

 private:
  static constexpr std::uint64_t kNoScan = 0;

  // Makes the call unless this manager is gone by then.
  void post(std::function<void(Central&)> call);
  void postState();
  void report(Peripheral& peripheral);

  Air& air_;
  CBCentralManagerDelegate& delegate_;
  std::uint64_t number_;
  CBManagerState state_ = CBManagerState::unknown;
  bool isStateKnown_ = false;
  std::uint64_t scan_ = kNoScan;
  std::uint64_t scans_ = 0;
  std::map<const Peripheral*, bool> seen_;     // in this scan; whether with a name
  std::set<const Peripheral*> linksReported_;  // those that are up
};

}  // namespace platform::simulated
