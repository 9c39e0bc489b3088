#include "tests/world/bluez/BluezScene.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "platform/bluez/BluezPlatform.h"

namespace world {

using namespace std::chrono_literals;
using platform::bluez::Clock;

namespace {

constexpr Microseconds kRestOfPowerLoss = 10s;
constexpr double kStart = 1'700'000'000;  // seconds since 1970

class WorldClock final : public Clock {
 public:
  WorldClock(World& world, BluezScene& scene) : world_(world), scene_(scene) {}

  TimePoint now() const override { return TimePoint(world_.now() + kHead); }
  double date() const override {
    return kStart + std::chrono::duration<double>(world_.now()).count();
  }
  void sleep(std::chrono::microseconds duration) override {
    scene_.bridgeDidRun();
    world_.pass(duration);
  }
  std::size_t wait(int epoll, TimePoint time, std::span<epoll_event> found) override {
    return scene_.wait(epoll, worldTime(time), found, true);
  }
  std::size_t look(int epoll, TimePoint time, std::span<epoll_event> found) override {
    return scene_.wait(epoll, worldTime(time), found, false);
  }

 private:
  static constexpr Microseconds kHead = 1000s;  // so that no time is zero

  static Microseconds worldTime(TimePoint time) {
    return std::chrono::ceil<Microseconds>(time.time_since_epoch()) - kHead;
  }

  World& world_;
  BluezScene& scene_;
};

// Before the judge is to know of them.
lab::Bluetoothd& withHabits(lab::Bluetoothd& bluetoothd, const Setting& setting) {
  bluetoothd.traits = setting.traits;
  bluetoothd.deniesAccess = setting.deniesAccess;
  bluetoothd.deniesDiscovery = setting.deniesDiscovery;
  return bluetoothd;
}

}  // namespace

BluezScene::BluezScene(World& world, const Plan& plan)
    : world_(world),
      setting_(plan.setting != nullptr ? plan.setting : std::make_shared<const Setting>()),
      agenda_(world.agenda()),
      dice_(plan.seed * 7 + 3),
      bluetoothd_(agenda_, dice_, bus_, world),
      radio_(agenda_, withHabits(bluetoothd_, *setting_), setting_->onlyAdapter) {
  setenv("VORNIX_ADAPTER", setting_->onlyAdapter.c_str(), 1);  // NOLINT(concurrency-mt-unsafe)
  for (std::size_t i = 0; i < setting_->adapters.size(); ++i) {
    bluetoothd_.plug("/org/bluez/hci" + std::to_string(i), setting_->adapters[i]);
  }
}

lab::StackDevice& BluezScene::add(lab::BenchDevice& model, const PlannedDevice& planned) {
  const std::size_t number = bluetoothd_.devices().size();
  lab::RemoteDevice& device =
      bluetoothd_.add(model, "dev_00_00_00_00_00_0" + std::to_string(number));
  device.isStored = planned.isStored;
  device.doesNameComeLater = planned.doesNameComeLater;
  device.doesResolveToNothing = planned.isHidden;
  device.isConnectable = planned.isConnectable;
  return device;
}

void BluezScene::start() {
  if (setting_->isStackThere) bluetoothd_.start();
  if (setting_->discoversForAnother && !setting_->adapters.empty()) {
    bluetoothd_.discoverForAnother(adapterOf(0), true);
  }
}

void BluezScene::appear(std::size_t number) {
  bluetoothd_.devices()[number]->isAdvertising = true;
  advertise(number);
}

void BluezScene::advertise(std::size_t number) {
  bluetoothd_.hear(*bluetoothd_.devices()[number]);
  agenda_.after(dice_.between(300ms, 1500ms), [this, number] { advertise(number); });
}

std::string BluezScene::passBy(std::size_t number) {
  char key[32];
  std::snprintf(key, sizeof(key), "dev_%08zX", number);
  std::string name = "Casque-" + std::to_string(number);
  bluetoothd_.passBy(adapterOf(0), key, name);
  return name;
}

std::string BluezScene::adapterOf(std::size_t which) const {
  const std::size_t count = std::max<std::size_t>(1, setting_->adapters.size());
  return "/org/bluez/hci" + std::to_string(which % count);
}

void BluezScene::turnOff(const std::string& adapter, Microseconds duration) {
  bluetoothd_.setPowered(adapter, false);
  agenda_.after(duration, [this, adapter] { bluetoothd_.setPowered(adapter, true); });
}

void BluezScene::happen(const Incident& incident, std::size_t number) {
  using Kind = Incident::Kind;
  const std::string adapter = adapterOf(incident.which);
  auto& devices = bluetoothd_.devices();
  lab::RemoteDevice* device = devices.empty() ? nullptr : devices[number].get();
  switch (incident.kind) {
    case Kind::vanish:
      device->isAdvertising = false;
      bluetoothd_.dropLink(*device);
      agenda_.after(incident.length, [device] { device->isAdvertising = true; });
      break;
    case Kind::loseLink:
      bluetoothd_.dropLink(*device);
      break;
    case Kind::powerOff:
      turnOff(adapter, incident.length);
      break;
    case Kind::unplug:
      bluetoothd_.unplug(adapter);
      agenda_.after(incident.length, [this, adapter] {
        if (!bluetoothd_.hasAdapter(adapter)) bluetoothd_.plug(adapter, true);
      });
      break;
    case Kind::stopStack:
      // In order, or without a farewell.
      if (incident.choice % 2 == 0) {
        bluetoothd_.stop();
      } else {
        bluetoothd_.kill();
      }
      agenda_.after(incident.length, [this] { bluetoothd_.start(); });
      // It may come back with another of two adapters.
      if (setting_->adapters.size() > 1 && incident.choice / 2 % 2 == 0) {
        turnOff(adapter, incident.length + kRestOfPowerLoss);
      }
      break;
    case Kind::standStill:
      bluetoothd_.standStill(incident.length);
      break;
    case Kind::changeAlias:
      bluetoothd_.changeAlias(adapter);
      break;
    case Kind::discover:
      // In a way beside which nobody else can begin to, or as the bridge does.
      if (incident.choice / 2 % 4 == 0) {
        bluetoothd_.occupy(adapter, true);
        agenda_.after(incident.length, [this, adapter] { bluetoothd_.occupy(adapter, false); });
        break;
      }
      bluetoothd_.discoverForAnother(adapter, incident.choice % 2 == 0);
      agenda_.after(incident.length, [this, adapter, incident] {
        bluetoothd_.discoverForAnother(adapter, incident.choice % 2 != 0);
      });
      break;
    case Kind::removeDevice:
      bluetoothd_.remove(*device);
      break;
    case Kind::loseBus:
      radio_.didLoseBus();
      world_.judge().didLoseStack();
      bus_.hangUp();
      break;
    default:
      std::abort();  // is not drawn here
  }
}

std::unique_ptr<platform::Platform> BluezScene::makePlatform() {
  auto platform =
      std::make_unique<platform::bluez::BluezPlatform>(std::make_unique<WorldClock>(world_, *this));
  bus_.accept();
  return platform;
}

// To look whether a bridge has sent something costs as much as to receive it.
bool BluezScene::serve() {
  const bool hasLeftToSend = (bus_.wanted().events & POLLOUT) != 0;
  if (!std::exchange(mayHaveSent_, false) && !hasLeftToSend) return false;
  return bus_.serve();
}

std::size_t BluezScene::wait(int epoll, Microseconds time, std::span<epoll_event> found,
                             bool mayPass) {
  bridgeDidRun();
  int count = 0;
  const auto isReady = [&] {
    count = epoll_wait(epoll, found.data(), static_cast<int>(found.size()), 0);
    return count > 0;
  };
  switch (world_.wait(time, mayPass, isReady)) {
    case World::Woken::byTime:
      found[0] = {};
      return 1;
    case World::Woken::byNothing:
      return 0;
    case World::Woken::bySomething:
      break;
  }
  // In any order, and some of it a little later.
  for (std::size_t i = static_cast<std::size_t>(count) - 1; i > 0; --i) {
    std::swap(found[i], found[world_.orderDice().below(i + 1)]);
  }
  return 1 + world_.orderDice().below(static_cast<std::size_t>(count));
}

std::unique_ptr<Scene> makeScene(World& world, const Plan& plan) {
  return std::make_unique<BluezScene>(world, plan);
}

std::shared_ptr<void> openForGood() {
  return std::make_shared<lab::MessageBus>();
}

}  // namespace world
