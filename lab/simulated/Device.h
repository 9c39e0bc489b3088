// A device on the simulated air: what it is, how it answers, and how it misbehaves. The fields are
// the script; they may be changed at any time from the main thread, the GATT tree only before a
// central connects. All hooks are called from runUntil.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "lab/simulated/Time.h"
#include "platform/Platform.h"

namespace platform::simulated {

class Characteristic;
class Peripheral;

using Bytes = std::vector<std::uint8_t>;
using ReadResult = std::variant<Bytes, Error>;
using Refusal = std::optional<Error>;  // nothing: accepted

// The error that a stack makes of an Attribute Protocol error code.
Error attError(int code);

struct DeviceCharacteristic {
  explicit DeviceCharacteristic(const CBUUID& identifier) : uuid(identifier) {}

  CBUUID uuid;

  // What the device permits; the rest is refused as the Attribute Protocol does.
  bool readable = true;
  bool writable = true;
  bool notifies = true;

  Bytes value;  // what a read gives, unless onRead is set

  // Refusals, each in force while it is set.
  Refusal readRefusal;
  Refusal writeRefusal;
  Refusal subscriptionRefusal;

  // Added to the device's own responseDelay. kNever: requests to it are never answered, and those
  // made after them wait behind.
  Time responseDelay{0};

  // Every value, read or notified, is cut or filled with zeros to this length.
  std::optional<std::size_t> forcedLength;

  std::function<ReadResult()> onRead;
  std::function<Refusal(Value)> onWrite;
  std::function<Refusal(bool enabled)> onSubscribe;

  bool isSubscribed() const { return subscriber != nullptr; }

  // Kept by the simulation: the object that receives the values, and the values that come while the
  // subscription is being confirmed.
  Characteristic* subscriber = nullptr;
  std::optional<std::vector<Bytes>> early;
};

struct DeviceService {
  explicit DeviceService(const CBUUID& identifier) : uuid(identifier) {}

  DeviceCharacteristic& addCharacteristic(const CBUUID& identifier) {
    return characteristics.emplace_back(identifier);
  }

  CBUUID uuid;
  std::deque<DeviceCharacteristic> characteristics;  // in handle order
  bool hidden = false;                               // as if the device did not have it
  Refusal characteristicsRefusal;                    // discovery of its characteristics fails
};

enum class RequestKind {
  discoverServices,
  discoverCharacteristics,
  read,
  write,
  subscribe,
  unsubscribe,
};

class Device {
 public:
  explicit Device(Peripheral& peripheral) : peripheral_(peripheral) {}
  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;

  DeviceService& addService(const CBUUID& identifier) { return services.emplace_back(identifier); }

  // The first of that identifier; it must be there.
  DeviceService& service(const CBUUID& identifier);
  DeviceCharacteristic& characteristic(const CBUUID& identifier);

  std::deque<DeviceService> services;  // in handle order
  Refusal servicesRefusal;             // service discovery fails

  Time advertisingDelay{0};  // from the start of a scan, or from appear(), to the report
  Time connectDelay{0};      // kNever: a connection request stays pending
  Time responseDelay{0};     // of every request

  // Taken over by the central when a link comes up; the device's GAP name.
  std::optional<std::string> nameWhenConnected;

  std::function<void()> onConnected;
  std::function<void()> onDisconnected;

  // Asked at each attempt to connect; where it says yes, nothing comes of the attempt, and the
  // central tries again after a second.
  std::function<bool()> refusesLink;

  // Sees each request when it reaches the device, before it is answered, with the identifier of the
  // service or characteristic that it is about (null for discoverServices). May drop the link, or
  // leave the request unanswered: those made after it then wait until the link is lost.
  std::function<void(RequestKind, const CBUUID*)> onRequest;
  void leaveUnanswered() { isAnswerWithheld_ = true; }  // only from onRequest

  // Advertised; nothing while the device tells no name. UTF-8.
  const std::optional<std::string>& name() const { return name_; }
  void setName(std::optional<std::string> name);

  // On the air or not. A device that vanishes loses its link.
  bool isPresent() const { return isPresent_; }
  void appear();
  void vanish();

  // Whether it lets a central connect; requests stay pending while it does not. At first it does.
  bool isConnectable() const { return isConnectable_; }
  void setConnectable(bool connectable);

  bool isConnected() const;
  void dropLink();

  // Sends one value to a subscribed central; nobody being subscribed, it goes nowhere. False when
  // the central's memory is full (64 MiB not delivered): the value was not taken.
  bool notify(DeviceCharacteristic& characteristic, Value value);

 private:
  friend class Peripheral;

  Peripheral& peripheral_;
  std::optional<std::string> name_;
  bool isAnswerWithheld_ = false;
  bool isPresent_ = false;
  bool isConnectable_ = true;
  Bytes reshaped_;
};

}  // namespace platform::simulated
