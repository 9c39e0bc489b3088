// Owning types over sd-bus, and the two things the bridge does with it: call a method of BlueZ
// without waiting, and listen to signals. All of it belongs to the main thread.
#pragma once

#include <systemd/sd-bus.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/Platform.h"

namespace platform::bluez {

struct ReleaseMessage {
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using Message = std::unique_ptr<sd_bus_message, ReleaseMessage>;

struct ReleaseSlot {
  void operator()(sd_bus_slot* slot) const { sd_bus_slot_unref(slot); }
};
using Slot = std::unique_ptr<sd_bus_slot, ReleaseSlot>;

inline constexpr char kStackName[] = "org.bluez";
inline constexpr char kAdapterInterface[] = "org.bluez.Adapter1";
inline constexpr char kDeviceInterface[] = "org.bluez.Device1";
inline constexpr char kServiceInterface[] = "org.bluez.GattService1";
inline constexpr char kCharacteristicInterface[] = "org.bluez.GattCharacteristic1";
inline constexpr char kBatteryInterface[] = "org.bluez.Battery1";
inline constexpr char kPropertiesInterface[] = "org.freedesktop.DBus.Properties";
inline constexpr char kObjectManagerInterface[] = "org.freedesktop.DBus.ObjectManager";

// The connection to the system bus. It may be missing from the start or be lost; it is never made
// again.
class Bus {
 public:
  Bus();

  // Null while there is no connection.
  sd_bus* get() const { return bus_.get(); }
  void close() { bus_.reset(); }

  // The unique bus name of the owner of org.bluez; empty while there is none.
  const std::string& stackOwner() const { return stackOwner_; }
  void setStackOwner(std::string owner) { stackOwner_ = std::move(owner); }

  // Whether BlueZ sent the message. Any program on the bus can send a signal to this process, so
  // others have to be ignored.
  bool isFromStack(sd_bus_message* message) const;

  // A new call to BlueZ, to which arguments may be appended; sending it does not start the daemon.
  // Null without a connection.
  Message method(const std::string& path, const char* interface, const char* member) const;
  Message managedObjects() const {
    return method("/", kObjectManagerInterface, "GetManagedObjects");
  }
  Message property(const std::string& path, const char* interface, const char* name) const;

 private:
  struct Close {
    void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
  };

  std::unique_ptr<sd_bus, Close> bus_;
  std::string stackOwner_;
};

// One method call under way. No call has a time-out: BlueZ answers when the device has answered, or
// when the link is lost. A caller with a limit of its own starts a Timer beside it.
class Call {
 public:
  static constexpr std::uint64_t kNoLimit = UINT64_MAX;
  using OnReply = std::function<void(sd_bus_message* reply)>;

  Call() = default;
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

  // Sends the call; the reply may be an error. Without a connection nothing is sent and no reply
  // comes: the loss of the bus is reported by the Loop.
  void start(const Bus& bus, const Message& call, OnReply onReply);

  // Asks BlueZ for any answer. It handles calls in order, and signals what it has noticed before it
  // answers. So when onBack is called, it has read all that was sent to it before, and what it knew
  // by then has arrived here.
  void startRoundTrip(const Bus& bus, const std::string& devicePath, std::function<void()> onBack);

  bool isPending() const { return slot_ != nullptr; }

  // Forgets the call: a reply that still comes is ignored.
  void cancel();

 private:
  static int handleReply(sd_bus_message* reply, void* call, sd_bus_error* error);

  Slot slot_;
  OnReply onReply_;
};

// Listens to the signals that a match rule describes, for as long as it exists.
class Match {
 public:
  using OnSignal = std::function<void(sd_bus_message* signal)>;

  Match(const Bus& bus, const std::string& rule, OnSignal onSignal);
  Match(const Match&) = delete;
  Match& operator=(const Match&) = delete;

 private:
  static int handleSignal(sd_bus_message* signal, void* match, sd_bus_error* error);

  OnSignal onSignal_;
  Slot slot_;
};

// The match rule for changes of one interface's properties, on one object or (a namespace) on all
// objects below a path.
std::string propertiesChangedRule(const char* pathKey, const std::string& path,
                                  const char* interface);

inline bool isError(sd_bus_message* reply) {
  return sd_bus_message_is_method_error(reply, nullptr) > 0;
}
bool isAccessDenied(sd_bus_message* reply);

// The error that a reply carries, in the platform's terms: the domain is the D-Bus error's name,
// the code that of the Attribute Protocol where BlueZ gives it.
Error errorOf(sd_bus_message* reply);

}  // namespace platform::bluez
