// Watches org.bluez: whether it is there, and what objects it has. Main thread only.
#pragma once

#include <memory>
#include <span>
#include <vector>

#include "platform/bluez/Bus.h"
#include "platform/bluez/Objects.h"

namespace platform::bluez {

class Loop;

class StackWatch {
 public:
  class Listener {
   public:
    // BlueZ cannot be used: the state says why. It may still appear.
    virtual void stackIsUnavailable(CBManagerState state) = 0;

    // BlueZ has just been started, so its adapters may still be on their way.
    virtual void stackIsStarting() = 0;

    // BlueZ is gone, and with it every object. No signal tells of each.
    virtual void stackIsLost() = 0;

    // All objects there are. Comes when BlueZ was found, and after each requestSnapshot().
    virtual void objectsAre(std::span<const Object> objects) = 0;

    // An object has appeared, or has got an interface, or has changed properties.
    virtual void objectHasChanged(const Object& object) = 0;

    virtual void objectIsGone(const RemovedObject& object) = 0;

   protected:
    ~Listener() = default;
  };

  StackWatch(Loop& loop, Listener& listener) : loop_(loop), listener_(listener) {}
  StackWatch(const StackWatch&) = delete;
  StackWatch& operator=(const StackWatch&) = delete;

  // Asks who owns the name; if nobody does, asks once for BlueZ to be started. Not without a bus.
  void start();

  void requestSnapshot();

 private:
  void listen();
  void handleOwner(sd_bus_message* reply);
  void requestStart();
  void handleStart(sd_bus_message* reply);
  void handleOwnerChange(sd_bus_message* signal);
  void handleSnapshot(sd_bus_message* reply);

  Loop& loop_;
  Listener& listener_;
  std::vector<std::unique_ptr<Match>> matches_;
  Call ownerCall_;
  Call startCall_;
  Call snapshotCall_;
};

}  // namespace platform::bluez
