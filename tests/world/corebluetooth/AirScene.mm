#import "tests/world/corebluetooth/AirScene.h"

#import <CoreBluetooth/CoreBluetooth.h>
#include <poll.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <utility>

#include "tests/world/Wrong.h"

namespace world {

using namespace std::chrono_literals;

namespace {

AirScene* scene = nullptr;

constexpr Microseconds kLongestDelay = 5s;

}  // namespace

AirScene::AirScene(World& world, const Plan& plan)
    : world_(world),
      setting_(plan.setting != nullptr ? plan.setting : std::make_shared<const Setting>()),
      dice_(plan.seed * 7 + 3),
      air_(standin::Air::shared()),
      radio_(world.agenda(), air_) {
  scene = this;
  air_.clear();
  air_.setSeed(plan.seed * 5 + 2);
  air_.drive([&world] { return world.now(); });
  air_.setTurning(false);
  air_.witness = &world;
}

AirScene::~AirScene() {
  air_.witness = nullptr;
  air_.clear();
  air_.drive([] { return Microseconds(0); });
  endPool();
  scene = nullptr;
}

AirScene& AirScene::current() {
  return *scene;
}

lab::StackDevice& AirScene::add(lab::BenchDevice& model, const PlannedDevice& planned) {
  air_.add(model);
  air_.vanish(model);
  standin::Faults& faults = air_.faultsOf(model);
  faults.connectsTwice = setting_->tellsLinksTwice;
  faults.failsWaitingRequests = setting_->failsWaitingRequests;
  if (setting_->advertisesOtherNames) faults.localName = "Tramsel-other";
  faults.doesNameComeLater = planned.doesNameComeLater;
  if (planned.isHidden) faults.discoveryError = 14;
  if (dice_.oneIn(2)) faults.linkTime = dice_.between(0s, 8s);
  models_.push_back(&model);
  isHeldFirst_.push_back(planned.isStored);
  return air_.seen(model);
}

void AirScene::start() {
  if (!setting_->hasRadio) return setState(CBManagerStateUnsupported);
  if (setting_->isOff) return setState(CBManagerStatePoweredOff);
  if (setting_->asksPerson) askPerson();
}

// The state is none that decides anything until there is an answer, and a refusal is not told.
void AirScene::askPerson() {
  isPersonAsked_ = true;
  air_.authorization = CBManagerAuthorizationNotDetermined;
  setState(setting_->isUnauthorizedMeanwhile ? CBManagerStateUnauthorized : CBManagerStateUnknown);
  world_.agenda().after(setting_->answer, [this] {
    isPersonAsked_ = false;
    world_.tell(setting_->isAllowed ? "* allowed" : "* refused");
    air_.authorization =
        setting_->isAllowed ? CBManagerAuthorizationAllowedAlways : CBManagerAuthorizationDenied;
    if (setting_->isAllowed) return setState(CBManagerStatePoweredOn);
    if (!setting_->isUnauthorizedMeanwhile) setState(CBManagerStateUnauthorized);
  });
}

void AirScene::appear(std::size_t device) {
  air_.appear(*models_[device]);
  if (isHeldFirst_[device]) air_.holdByAnother(*models_[device]);
}

std::string AirScene::passBy(std::size_t /*number*/) {
  throw Wrong("nobody passes by here");
}

void AirScene::wake(std::size_t /*device*/) {
  air_.wake();
}

void AirScene::happen(const Incident& incident, std::size_t number) {
  using Kind = Incident::Kind;
  lab::BenchDevice* const model = models_.empty() ? nullptr : models_[number];
  switch (incident.kind) {
    case Kind::vanish:
      atOnceOrWhenAsked(incident, *model, [this, model, length = incident.length] {
        air_.vanish(*model);
        world_.agenda().after(length, [this, model] { air_.appear(*model); });
      });
      break;
    case Kind::loseLink:
      atOnceOrWhenAsked(incident, *model, [this, model] { air_.dropLink(*model); });
      break;
    case Kind::powerOff:
      setStateFor(CBManagerStatePoweredOff, incident.length);
      break;
    case Kind::resetRadio:
      setStateFor(CBManagerStateResetting, incident.length);
      break;
    case Kind::loseState:
      setStateFor(CBManagerStateUnknown, incident.length);
      break;
    case Kind::delayCalls:
      air_.delayUntil(now() + std::min(incident.length, kLongestDelay));
      break;
    case Kind::holdDevice:
      air_.holdByAnother(*model);
      world_.agenda().after(incident.length, [this, model] { air_.releaseByAnother(*model); });
      break;
    case Kind::forgetPairing:
      air_.faultsOf(*model).failedConnections = 1 + incident.choice % 2;
      break;
    case Kind::changeServices:
      atOnceOrWhenAsked(incident, *model, [this, model] { air_.modifyServices(*model); });
      break;
    default:
      std::abort();  // is not drawn here
  }
}

// Few requests are on their way at any moment that is not chosen by them.
void AirScene::atOnceOrWhenAsked(const Incident& incident, lab::BenchDevice& model,
                                 const std::function<void()>& action) {
  if (incident.choice % 2 == 0) return action();
  air_.whenAsked(model, 1 + incident.choice / 2 % 12, [this, kind = incident.kind, &model, action] {
    world_.tell("  now: " + std::string(nameOf(kind)) + " " + model.name());
    action();
  });
}

void AirScene::setState(long state) {
  ++states_;
  air_.setState(state);
  world_.judge().lookAtSituation();
}

// Then it is on again, unless something else has happened to it.
void AirScene::setStateFor(long state, Microseconds length) {
  if (isPersonAsked_ || air_.authorization != CBManagerAuthorizationAllowedAlways) return;
  if (air_.state() == state || air_.state() == CBManagerStateUnsupported) return;
  setState(state);
  world_.agenda().after(length, [this, number = states_] {
    if (number == states_) setState(CBManagerStatePoweredOn);
  });
}

// --- The bridge's life

std::unique_ptr<platform::Platform> AirScene::makePlatform() {
  pool_ = [NSAutoreleasePool new];
  isWoken_ = false;
  return platform::makePlatform();
}

void AirScene::bridgeDidEnd() {
  air_.setTurning(false);
  air_.forgetProgram();
}

void AirScene::bridgeDidGo() {
  endPool();
  if (air_.misuses > 0) throw Wrong("asks what the framework complains of");
}

void AirScene::endPool() {
  [std::exchange(pool_, nil) drain];
}

// --- The run loop

// A turn ends when a callback has been made, or with the wake-up.
void AirScene::turn(Microseconds time) {
  const std::size_t before = air_.callbacks;
  air_.setTurning(true);
  const auto isReady = [&] { return isWoken_ || air_.callbacks != before; };
  world_.wait(now() + time, time > Microseconds(0), isReady);
  air_.setTurning(false);
  isWoken_ = false;
}

bool AirScene::waitForOutput(int descriptor, Microseconds time) {
  const auto isReady = [&] {
    pollfd output{descriptor, POLLOUT, 0};
    return ::poll(&output, 1, 0) != 0;
  };
  return world_.wait(now() + time, true, isReady) == World::Woken::bySomething;
}

std::unique_ptr<Scene> makeScene(World& world, const Plan& plan) {
  return std::make_unique<AirScene>(world, plan);
}

// What Foundation opens when it is first used.
std::shared_ptr<void> openForGood() {
  @autoreleasepool {
    platform::makePlatform();
  }
  return nullptr;
}

}  // namespace world
