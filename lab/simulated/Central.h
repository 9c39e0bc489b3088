// The bridge's central manager on the simulated radio: its state, its scan, and what it has already
// reported. Main thread.
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
  void didAdvertise(Peripheral& peripheral);
  void nameDidChange(Peripheral& peripheral);
  void linkDidComeUp(Peripheral& peripheral);
  void linkDidGoDown(Peripheral& peripheral);

 private:
  static constexpr std::uint64_t kNoScan = 0;

  // Queues the call for delivery; it is not made if this manager is gone by then.
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
  std::map<const Peripheral*, bool> seen_;     // reported in this scan; true: with a name
  std::set<const Peripheral*> linksReported_;  // links reported as up
};

}  // namespace platform::simulated
