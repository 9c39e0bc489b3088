// A session over CoreBluetooth: the stand-in for the framework and its radio, the production layer
// over them on a run loop of the world's (WorldLoop.mm).
#pragma once

#import <Foundation/Foundation.h>

#include <functional>
#include <memory>
#include <vector>

#include "lab/bluetoothd/Dice.h"
#include "support/corebluetooth/Air.h"
#include "tests/world/Scene.h"
#include "tests/world/World.h"
#include "tests/world/corebluetooth/AirRadio.h"
#include "tests/world/corebluetooth/Setting.h"

namespace world {

class AirScene final : public Scene {
 public:
  AirScene(World& world, const Plan& plan);
  ~AirScene() override;

  Radio& radio() override { return radio_; }
  lab::StackDevice& add(lab::BenchDevice& model, const PlannedDevice& planned) override;
  void start() override;
  void appear(std::size_t device) override;
  std::string passBy(std::size_t number) override;
  void wake(std::size_t device) override;
  void happen(const Incident& incident, std::size_t device) override;
  std::unique_ptr<platform::Platform> makePlatform() override;
  void bridgeDidEnd() override;
  void bridgeDidGo() override;
  bool serve() override { return false; }
  bool isIdle() const override { return air_.isIdle() && !isWoken_; }
  std::optional<Microseconds> next() const override { return air_.next(); }
  void doNext() override { air_.happen(); }

  // The layer's run loop, of the scene that is played.
  static AirScene& current();
  Microseconds now() const { return world_.now(); }
  void turn(Microseconds time);
  bool waitForOutput(int descriptor, Microseconds time);
  void sleep(Microseconds time) { world_.pass(time); }
  void wakeLoop() { isWoken_ = true; }

 private:
  void setState(long state);
  void setStateFor(long state, Microseconds length);
  void askPerson();
  void atOnceOrWhenAsked(const Incident& incident, lab::BenchDevice& model,
                         const std::function<void()>& action);
  void endPool();

  World& world_;
  std::shared_ptr<const Setting> setting_;
  lab::Dice dice_;
  standin::Air& air_;
  AirRadio radio_;
  std::vector<lab::BenchDevice*> models_;
  std::vector<bool> isHeldFirst_;  // by another program, when the device appears
  NSAutoreleasePool* pool_ = nil;  // of a bridge's life: its end may leave others open
  bool isWoken_ = false;
  std::size_t states_ = 0;  // numbers them
  bool isPersonAsked_ = false;
};

}  // namespace world
