// A measurement device as it stands on a bench: what it advertises, its GATT tree, and what it does
// with reads, writes and subscriptions. The same models run as real peripherals on a controller of
// their own (vornix-lab) and on the simulated platform (the demo, the tests).
//
// A model is passive: the program that runs it (vornix-lab, the simulated platform, a test) makes
// every call below on one thread and passes the time in. A model encodes its values itself and
// shares no code with the bridge.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace lab {

using Bytes = std::vector<std::uint8_t>;
using Microseconds = std::chrono::microseconds;

// Error codes of the Attribute Protocol (Bluetooth Core, Vol 3, Part F, 3.4.1.1) that models use.
enum class AttError : std::uint8_t {
  none = 0x00,
  readNotPermitted = 0x02,
  writeNotPermitted = 0x03,
  insufficientAuthentication = 0x05,
  invalidValueLength = 0x0D,
  unlikely = 0x0E,
};

struct Characteristic {
  std::string uuid;  // 4 digits, or 36 characters
  bool read = false;
  bool write = false;
  bool notify = false;
  bool indicate = false;
};

struct Service {
  std::string uuid;
  std::vector<Characteristic> characteristics;
};

// A characteristic of the device by its position, counted over all services in order from 0.
using CharacteristicIndex = std::size_t;

using ReadResult = std::variant<Bytes, AttError>;

// The link to the central, as the device sees it. Given to the model while one is connected.
class Link {
 public:
  // Sends one notification (or indication). A real link cuts a value that is longer than
  // largestNotification(); the simulated platform delivers it whole. A value of a characteristic
  // that is not subscribed is dropped, with the result true. False when the link has no room now:
  // the value is to be offered again at the next advance(), which comes as soon as there is room.
  virtual bool notify(CharacteristicIndex characteristic, std::span<const std::uint8_t> value) = 0;

  // Largest value that one notification carries, in bytes: the exchanged ATT MTU less 3.
  virtual std::size_t largestNotification() const = 0;

  // Removes a service from the GATT tree until the link ends: its attributes are gone, its values
  // are no longer sent. Returns the value of a Service Changed indication about it (first and last
  // handle, little-endian); nothing when the tree has no such service.
  virtual std::optional<Bytes> withdraw(std::string_view /*service*/) { return std::nullopt; }

  // Ends the link from the device's side.
  virtual void drop() = 0;

 protected:
  ~Link() = default;
};

class DeviceModel {
 public:
  DeviceModel() = default;
  DeviceModel(const DeviceModel&) = delete;
  DeviceModel& operator=(const DeviceModel&) = delete;
  virtual ~DeviceModel() = default;

  // The complete local name, UTF-8, advertised and readable as the GAP device name; empty while the
  // device has none.
  virtual std::string name() const = 0;

  // The GATT tree; while a central is connected, only Link::withdraw changes it.
  virtual const std::vector<Service>& services() const = 0;

  // The link lives from connected() to disconnected(); subscriptions end with it.
  virtual void connected(Link& link) = 0;
  virtual void disconnected() = 0;

  virtual ReadResult read(CharacteristicIndex characteristic) = 0;
  virtual AttError write(CharacteristicIndex characteristic,
                         std::span<const std::uint8_t> value) = 0;
  virtual AttError subscribe(CharacteristicIndex characteristic, bool enabled) = 0;

  // Lets the model do what is due at this time, which counts from an arbitrary start and never
  // decreases. Returns when it next has something to do; nothing when that is not before another
  // call. It is also called after every other call, so that models send from here alone.
  virtual std::optional<Microseconds> advance(Microseconds now) = 0;
};

}  // namespace lab
