// A session over BlueZ: a played message bus and bluetoothd, the production layer over them by a
// clock of the world's.
#pragma once

#include <sys/epoll.h>

#include <memory>
#include <span>
#include <string>

#include "lab/bluetoothd/Bluetoothd.h"
#include "tests/world/Scene.h"
#include "tests/world/World.h"
#include "tests/world/bluez/BluezRadio.h"
#include "tests/world/bluez/Setting.h"

namespace world {

class BluezScene final : public Scene {
 public:
  BluezScene(World& world, const Plan& plan);

  Radio& radio() override { return radio_; }
  lab::StackDevice& add(lab::BenchDevice& model, const PlannedDevice& planned) override;
  void start() override;
  void appear(std::size_t device) override;
  std::string passBy(std::size_t number) override;
  void wake(std::size_t device) override { bluetoothd_.wake(*bluetoothd_.devices()[device]); }
  void happen(const Incident& incident, std::size_t device) override;
  std::unique_ptr<platform::Platform> makePlatform() override;
  void bridgeDidEnd() override { bus_.hangUp(); }
  bool serve() override;
  bool isIdle() const override { return bluetoothd_.isIdle(); }
  void bridgeDidRun() { mayHaveSent_ = true; }

  // What the bridge's clock waits by.
  std::size_t wait(int epoll, Microseconds time, std::span<epoll_event> found, bool mayPass);

 private:
  void advertise(std::size_t device);
  void turnOff(const std::string& adapter, Microseconds duration);
  std::string adapterOf(std::size_t which) const;

  World& world_;
  std::shared_ptr<const Setting> setting_;
  lab::Agenda& agenda_;
  lab::Dice dice_;
  lab::MessageBus bus_;
  lab::Bluetoothd bluetoothd_;
  BluezRadio radio_;
  bool mayHaveSent_ = false;  // the bridge, since it was looked for
};

}  // namespace world
