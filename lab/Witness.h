// What is seen from outside of a Bluetooth stack that is played in this process: its devices, and
// what happens between them and the stack's one client.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "lab/DeviceModel.h"

namespace lab {

// A device as the stack has it.
class StackDevice {
 public:
  virtual DeviceModel& model() const = 0;
  virtual const std::string& key() const = 0;  // no other device has it

  // Whether the client can have been told of it, and by which name; empty while none is known.
  virtual bool isInRange() const = 0;
  virtual const std::string& knownName() const = 0;
  // How often it has begun to be another one for the client.
  virtual std::size_t objectCount() const = 0;

  // Answers who wants a link now; does so, but never shows its services.
  virtual bool canBeConnected() const = 0;
  virtual bool isHidden() const = 0;

  // The client's link: asked for and not up, up, and so far that services can be asked for.
  virtual bool isBeingConnected() const = 0;
  virtual bool isConnected() const = 0;
  virtual bool areServicesResolved() const = 0;
  virtual bool isSubscribed(std::string_view uuid) const = 0;

 protected:
  ~StackDevice() = default;
};

// Observes what happens, and decides how requests to devices end.
// Characteristics have their 36 characters, in lower case.
class Witness {
 public:
  enum class Fate { serve, refuse, drop, ignore };

  virtual Fate fateOf(StackDevice& device, std::string_view verb, std::string_view uuid) = 0;

  virtual void didHear(StackDevice&) {}
  virtual void didLinkUp(StackDevice&) {}
  virtual void didLinkDown(StackDevice&) {}
  virtual void didRead(StackDevice&, std::string_view /*uuid*/, const Bytes* /*value*/) {}
  virtual void didWrite(StackDevice&, std::string_view /*uuid*/, const Bytes&) {}
  virtual void didAnswerSubscription(StackDevice&, std::string_view /*uuid*/, bool /*isMade*/) {}
  virtual void didEndSubscription(StackDevice&, std::string_view /*uuid*/) {}
  virtual void didSendValue(StackDevice&, std::string_view /*uuid*/, const Bytes&) {}

  // bluetoothd's.
  virtual void didLose(StackDevice&, std::string_view /*uuid*/) {}  // a value: the socket was full
  // A call has come, and is looked at.
  virtual void didReceive(std::string_view /*path*/, std::string_view /*member*/) {}
  virtual void didAsk(const std::string& /*path*/, const std::string& /*member*/) {}
  virtual void didListObjects() {}

  // CoreBluetooth's.
  virtual void didAskToConnect(StackDevice&) {}
  virtual void didFailToConnect(StackDevice&) {}
  virtual void didFailToDiscover(StackDevice&) {}  // services
  virtual void didShowCharacteristics(StackDevice&) {}
  virtual void didInvalidateServices(StackDevice&) {}
  virtual void didLoseWrite(StackDevice&, std::string_view /*uuid*/, const Bytes&) {}

 protected:
  ~Witness() = default;
};

}  // namespace lab
