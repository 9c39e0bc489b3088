// Watches org.bluez: whether it exists, and which objects it has. Main thread only.
//
// The listener gets each object completely first: in a snapshot, or when the object appears. The
// bus preserves the order of one sender's messages, and BlueZ answers with its current state. So
// changes that it signals before its first answer are contained in the answer, and are not
// reported: they name only some properties of some objects, and nothing can be concluded from those
// they leave out.
#pragma once

#include <memory>
#include <span>
#include <vector>

#include "platform/bluez/Bus.h"
#include "platform/bluez/Loop.h"
#include "platform/bluez/Objects.h"

namespace platform::bluez {

class StackWatch {
 public:
  class Listener {
   public:
    // BlueZ cannot be used: the state says why. It may still appear.
    virtual void stackDidBecomeUnavailable(CBManagerState state) = 0;

    // BlueZ has just been started, so its adapters may still be on their way.
    virtual void stackDidStart() = 0;

    // BlueZ is gone, and all objects with it; they are not reported one by one.
    virtual void stackDidEnd() = 0;

    // All objects. Comes when BlueZ was found, and after each requestSnapshot().
    virtual void snapshotDidArrive(std::span<const Object> objects) = 0;

    // An object has appeared, or has a new interface, with all properties.
    virtual void objectDidAppear(const Object& object) = 0;

    // Some properties of an object have changed; those that have not are absent. A listener that
    // does not know the object asks for a snapshot.
    virtual void objectDidChange(const Object& object) = 0;

    virtual void objectDidDisappear(const RemovedObject& object) = 0;

   protected:
    ~Listener() = default;
  };

  StackWatch(Loop& loop, Listener& listener);
  StackWatch(const StackWatch&) = delete;
  StackWatch& operator=(const StackWatch&) = delete;

  // Asks who owns the name; if nobody does, asks once for BlueZ to be started. Not without a bus.
  void start();

  // Has no effect while a snapshot is under way, which will contain all changes until then.
  void requestSnapshot();

 private:
  void listen();
  bool isWorthTelling(sd_bus_message* signal) const;
  void handleOwner(sd_bus_message* reply);
  void requestStart();
  void handleStart(sd_bus_message* reply);
  void giveUp();
  void handleOwnerChange(sd_bus_message* signal);
  void handleSnapshot(sd_bus_message* reply);

  Loop& loop_;
  Listener& listener_;
  std::vector<std::unique_ptr<Match>> matches_;
  Call ownerCall_;
  Call startCall_;
  Timer limit_;  // for these two
  Call snapshotCall_;
  bool hasAnswered_ = false;  // BlueZ has sent a snapshot since it was found
};

}  // namespace platform::bluez
