// A device on the simulated radio: what it is, how it answers, and how it misbehaves. The fields
// are the script; they may be changed at any time from the main thread, the GATT tree only before a
// central connects. The hooks are called from runUntil, except onDisconnected, which is called from
// whatever ends the link.
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

// The error that a stack reports for an Attribute Protocol error code.
Error attError(int code);

struct DeviceCharacteristic {
  explicit DeviceCharacteristic(const CBUUID& identifier) : uuid(identifier) {}

  CBUUID uuid;

  // What the device permits; the rest is refused with an Attribute Protocol error.
  bool readable = true;
  bool writable = true;
  bool notifies = true;

  Bytes value;  // what a read gives, unless onRead is set

  // While one of these is set, such requests are refused with it.
  Refusal readRefusal;
  Refusal writeRefusal;
  Refusal subscriptionRefusal;

  // Added to the device's responseDelay. kNever: requests to the characteristic are never answered,
  // and hold up all later requests to the device.
  Time responseDelay{0};

  // Every value, read or notified, is cut or padded with zeros to this length in bytes.
  std::optional<std::size_t> forcedLength;

  std::function<ReadResult()> onRead;
  std::function<Refusal(Value)> onWrite;
  std::function<Refusal(bool enabled)> onSubscribe;

  bool isSubscribed() const { return subscriber != nullptr; }

  // Kept by the simulation: the object that receives the values, and the values that are notified
  // from within onSubscribe, which are delivered after the subscription's confirmation.
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

  // The first with this identifier; aborts when there is none.
  DeviceService& service(const CBUUID& identifier);
  DeviceCharacteristic& characteristic(const CBUUID& identifier);

  std::deque<DeviceService> services;  // in handle order
  Refusal servicesRefusal;             // service discovery fails

  Time advertisingDelay{0};  // from the start of a scan, or from appear(), to its report
  Time connectDelay{0};      // kNever: a connection request stays pending
  Time responseDelay{0};     // of every request

  // The GAP device name, which the central reads when a link comes up.
  std::optional<std::string> nameWhenConnected;

  std::function<void()> onConnected;
  std::function<void()> onDisconnected;

  // Called at each attempt to connect; if it returns true, the attempt fails and the central tries
  // again after a second.
  std::function<bool()> refusesLink;

  // Called for each request before the device answers it, with the identifier of the service or
  // characteristic in question (null for discoverServices). May drop the link, or leave the request
  // unanswered: later requests then wait until the link is lost.
  std::function<void(RequestKind, const CBUUID*)> onRequest;
  void leaveUnanswered() { isAnswerWithheld_ = true; }  // only from onRequest

  // The advertised name, UTF-8; nothing while the device advertises none.
  const std::optional<std::string>& name() const { return name_; }
  void setName(std::optional<std::string> name);

  // Switched on or not. A device that vanishes loses its link.
  bool isPresent() const { return isPresent_; }
  void appear();
  void vanish();

  // Whether a central can connect (at first it can); while not, connection requests stay pending.
  bool isConnectable() const { return isConnectable_; }
  void setConnectable(bool connectable);

  bool isConnected() const;
  void dropLink();

  // Sends one value to the central, if it is subscribed; else the value is dropped. False when the
  // central's memory is full (64 MiB not delivered): the value is then not queued.
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
