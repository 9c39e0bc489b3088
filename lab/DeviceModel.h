// A measurement device as it stands on a bench: what it advertises, its GATT tree, and what it does
// with reads, writes and subscriptions. The same models run as real peripherals on a controller of
// their own (vornix-lab) and on the simulated platform (the demo, the tests).
//
// A model runs on one thread, the host's, which makes every call below and passes the time in. It
// encodes its values on its own and shares no code with the bridge.
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
  // Sends one notification (or indication): 0 to 514 bytes, as far as the link's packet size
  // allows; what is longer is cut. A characteristic that is not subscribed: taken and not sent.
  // False when the link has no room now: the value was not taken and is to be offered again at the
  // next advance(), which the host calls as soon as there is room.
  virtual bool notify(CharacteristicIndex characteristic, std::span<const std::uint8_t> value) = 0;

  // Largest value that one notification carries: the exchanged ATT MTU less 3.
  virtual std::size_t largestNotification() const = 0;

  // Takes a service out of the tree until the link ends: its attributes are gone, its values are no
  // longer sent. Returns its handles as the Service Changed characteristic tells them; nothing when
  // the tree has no such service.
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

  // The complete local name, UTF-8; empty while the device does not tell one. It is advertised, and
  // is the GAP device name.
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

  // Time goes by: now counts from an arbitrary start and never decreases. The model does what is
  // due and tells when it next has something to do (nothing: not before the next other call). The
  // host also calls it after every other call, so that models send from here alone.
  virtual std::optional<Microseconds> advance(Microseconds now) = 0;
};

}  // namespace lab
