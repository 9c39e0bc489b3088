// The bench of the simulated platform: one thread, driven time (or real time, where the environment
// says so).
#include <cstdlib>
#include <map>

#include "contract/Bench.h"
#include "lab/simulated/Platform.h"
#include "lab/simulated/SimulatedDevice.h"

namespace contract {
namespace {

class SimulatedBench final : public Bench {
 public:
  platform::Platform& platform() override { return platform_; }

  // The radio is a part of the platform, so the platform stays: a new bridge makes a new manager.
  void restartPlatform() override {}

  void putOnAir(ContractDevice& model) override {
    auto& host = hosts_[&model];
    host = std::make_unique<lab::SimulatedDevice>(platform_, model);
    host->device().appear();
  }
  void vanish(ContractDevice& model) override { hosts_.at(&model)->device().vanish(); }
  void appear(ContractDevice& model) override { hosts_.at(&model)->device().appear(); }

  void dropAtServiceDiscovery(ContractDevice& model) override {
    hosts_.at(&model)->setFault("drop-at", "services");
  }

  void setPowered(bool powered) override {
    platform_.setState(powered ? platform::CBManagerState::poweredOn
                               : platform::CBManagerState::poweredOff);
  }

  void onDevices(const std::function<void()>& action) override {
    action();
    for (const auto& [model, host] : hosts_) host->wake();
  }

  double settlingTime() const override { return isDriven_ ? 5 : 0.1; }

 private:
  const bool isDriven_ = std::getenv("VORNIX_REAL_TIME") == nullptr;
  platform::simulated::Platform platform_{isDriven_ ? platform::simulated::TimeMode::driven
                                                    : platform::simulated::TimeMode::real};
  std::map<ContractDevice*, std::unique_ptr<lab::SimulatedDevice>> hosts_;
};

}  // namespace

std::unique_ptr<Bench> makeBench() {
  return std::make_unique<SimulatedBench>();
}

}  // namespace contract
