// What is different from platform to platform in a session: the stack that is played, the platform
// over it, and what goes wrong with both. A program links one implementation.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>

#include "lab/Witness.h"
#include "lab/models/BenchDevice.h"
#include "platform/Platform.h"
#include "tests/world/Plan.h"
#include "tests/world/Radio.h"

namespace world {

class World;

class Scene {
 public:
  Scene() = default;
  Scene(const Scene&) = delete;
  Scene& operator=(const Scene&) = delete;
  virtual ~Scene() = default;

  virtual Radio& radio() = 0;

  // The devices are added first, in the plan's order; then the stack starts.
  virtual lab::StackDevice& add(lab::BenchDevice& model, const PlannedDevice& planned) = 0;
  virtual void start() = 0;

  // From now on the device is there.
  virtual void appear(std::size_t device) = 0;
  // Somebody passes whom nobody wants anything of. Returns the name.
  virtual std::string passBy(std::size_t number) = 0;
  // The model may have something to do.
  virtual void wake(std::size_t device) = 0;
  // What is the stack's affair. device: the one that it is about.
  virtual void happen(const Incident& incident, std::size_t device) = 0;

  // The platform of a bridge that begins. It is ended, still with its platform; both are gone.
  virtual std::unique_ptr<platform::Platform> makePlatform() = 0;
  virtual void bridgeDidEnd() = 0;
  virtual void bridgeDidGo() {}

  // Passes on what bridge and stack have for each other; true when there was something.
  virtual bool serve() = 0;
  // Nothing is left to be answered but attempts to connect.
  virtual bool isIdle() const = 0;

  // What is next on an agenda of the stack's own, and its turn.
  virtual std::optional<Microseconds> next() const { return std::nullopt; }
  virtual void doNext() {}
};

std::unique_ptr<Scene> makeScene(World& world, const Plan& plan);

// Whatever stays open once it has been opened, so that it is not taken for left behind.
std::shared_ptr<void> openForGood();

}  // namespace world
