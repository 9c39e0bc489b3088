// The bench of the CoreBluetooth layer: devices on the stand-in's radio, everything on the main
// thread, in real time or, with DrivenLoop.mm, in the stand-in's own. A failure tells its seed.
#include <gtest/gtest.h>

#include <iostream>

#include "contract/Bench.h"
#include "support/corebluetooth/Air.h"

namespace contract {
namespace {

using standin::Air;

class StandInBench final : public Bench {
 public:
  StandInBench() { Air::shared().setSeed(seed_); }

  ~StandInBench() override {
    platform_.reset();
    if (testing::Test::HasFailure()) std::cout << "VORNIX_SEED=" << seed_ << '\n';
    EXPECT_EQ(Air::shared().misuses, 0U);
    Air::shared().clear();
  }

  platform::Platform& platform() override { return *platform_; }

  void restartPlatform() override {
    platform_.reset();
    platform_ = platform::makePlatform();
  }

  void putOnAir(ContractDevice& model) override { Air::shared().add(model); }
  void vanish(ContractDevice& model) override { Air::shared().vanish(model); }
  void appear(ContractDevice& model) override { Air::shared().appear(model); }

  void dropAtServiceDiscovery(ContractDevice& model) override {
    Air::shared().faultsOf(model).dropsAtDiscovery = true;
  }

  void setPowered(bool powered) override {
    using platform::CBManagerState;
    const auto state = powered ? CBManagerState::poweredOn : CBManagerState::poweredOff;
    Air::shared().setState(static_cast<long>(state));
  }

  void onDevices(const std::function<void()>& action) override {
    action();
    Air::shared().wake();
  }

  double settlingTime() const override { return 0.5; }

 private:
  std::uint64_t seed_ = standin::nextSeed();
  std::unique_ptr<platform::Platform> platform_ = platform::makePlatform();
};

}  // namespace

std::unique_ptr<Bench> makeBench() {
  return std::make_unique<StandInBench>();
}

}  // namespace contract
