// The interface between the bridge and the operating system's Bluetooth stack.
//
// One abstract interface in CoreBluetooth's own terms; a program links exactly one implementation
// of it (bluez, corebluetooth, or lab/simulated, which has no radio). This header is the whole
// contract: what holds for one implementation holds for all, and tests/contract runs the same tests
// over each.
//
// Threads. The thread that calls Platform::runUntil is the main thread. Every delegate callback is
// made there, from within runUntil and never from within the call that caused it. All operations
// belong to the main thread, except CBPeripheral::setNotifyValue and CBPeripheral::writeValue,
// which any thread may call: they copy what they are given and return at once.
//
// Order. The requests made to one peripheral (discovery, read, subscription, write) are carried out
// one after the other in the order in which they were made, whichever thread made them. Requests to
// different peripherals are independent. The values of one characteristic are delivered in the
// order in which the device sent them, each exactly once.
//
// A subscription that the device leaves unanswered for some seconds is the one exception: requests
// after it may then be carried out before it is answered, except those that subscribe to the same
// characteristic or end its subscription. Its answer is reported when it comes, as any other; if
// none can come any more, the subscription counts as refused.
//
// Link. A link that goes down is not reported. A request that fails because the link is down, or
// that was waiting when it went down, gives no callback, with one exception: discoverServices then
// reports an error. A request made while the link is down does nothing.
//
// Identity and lifetime. The same device is always the same CBPeripheral object, for as long as
// anybody holds it. Its services and characteristics live as long as it does, also those that a
// later discovery replaces. An object is compared by its address.
//
// Failures are values (Error); nothing is thrown across this interface.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/CBUUID.h"

namespace platform {

// Numeric values as CoreBluetooth has them.
enum class CBManagerState {
  unknown = 0,
  resetting = 1,
  unsupported = 2,
  unauthorized = 3,
  poweredOff = 4,
  poweredOn = 5,
};

enum class CBCharacteristicWriteType { withResponse = 0 };

// Bytes of a characteristic's value, byte 0 first, as they came over the air.
using Value = std::span<const std::uint8_t>;

// In bytes. An attribute has at most 512, but a notification carries what an ATT packet of 517
// bytes, the largest that the stacks agree on, leaves for it. What is longer did not come over the
// air.
inline constexpr std::size_t kLargestValue = 514;

struct Error {
  std::string domain;  // who speaks: "CBATTErrorDomain", "org.bluez.Error.Failed", ...
  int code = 0;        // the domain's own number; 0 where it has none
  std::string message;
  std::string printed = {};  // the stack's own complete printed form; empty where it has none

  // The complete printed form: the stack's own, or else Error Domain=D Code=C "message".
  std::string description() const;
  const std::string& localizedDescription() const { return message; }
};

// A characteristic found by discovery. Implementations derive from it and keep value_ up to date.
class CBCharacteristic {
 public:
  explicit CBCharacteristic(const CBUUID& uuid) : uuid_(uuid) {}
  CBCharacteristic(const CBCharacteristic&) = delete;
  CBCharacteristic& operator=(const CBCharacteristic&) = delete;
  virtual ~CBCharacteristic() = default;

  const CBUUID& UUID() const { return uuid_; }

  // The value being delivered. Valid only during the peripheralDidUpdateValueFor callback of this
  // characteristic; absent there when the read failed. 0 to kLargestValue bytes.
  const std::optional<Value>& value() const { return value_; }

 protected:
  std::optional<Value> value_;

 private:
  CBUUID uuid_;
};

// A service found by discovery. Implementations derive from it and fill characteristics_.
class CBService {
 public:
  explicit CBService(const CBUUID& uuid) : uuid_(uuid) {}
  CBService(const CBService&) = delete;
  CBService& operator=(const CBService&) = delete;
  virtual ~CBService() = default;

  const CBUUID& UUID() const { return uuid_; }

  // What the last discoverCharacteristics found, in handle order; null before the first one has
  // been answered and after one that failed.
  const std::vector<CBCharacteristic*>* characteristics() const {
    return characteristics_ ? &*characteristics_ : nullptr;
  }

 protected:
  std::optional<std::vector<CBCharacteristic*>> characteristics_;

 private:
  CBUUID uuid_;
};

class CBPeripheral;

// What a peripheral reports. A null error means success; an error is valid during the call.
class CBPeripheralDelegate {
 public:
  // Follows discoverServices. On an error, CBPeripheral::services() is null.
  virtual void peripheralDidDiscoverServices(CBPeripheral& peripheral, const Error* error) = 0;

  // Follows discoverCharacteristics for that service.
  virtual void peripheralDidDiscoverCharacteristicsFor(CBPeripheral& peripheral, CBService& service,
                                                       const Error* error) = 0;

  // Follows readValue (once per read), and comes for every notification or indication of a
  // subscribed characteristic, equal values and values of no bytes included.
  virtual void peripheralDidUpdateValueFor(CBPeripheral& peripheral,
                                           CBCharacteristic& characteristic,
                                           const Error* error) = 0;

  // Follows setNotifyValue. On success it precedes the first value of the subscription.
  virtual void peripheralDidUpdateNotificationStateFor(CBPeripheral& peripheral,
                                                       CBCharacteristic& characteristic,
                                                       const Error* error) {
    static_cast<void>(peripheral);
    static_cast<void>(characteristic);
    static_cast<void>(error);
  }

 protected:
  ~CBPeripheralDelegate() = default;
};

// A device that a scan has reported.
class CBPeripheral {
 public:
  CBPeripheral() = default;
  CBPeripheral(const CBPeripheral&) = delete;
  CBPeripheral& operator=(const CBPeripheral&) = delete;
  virtual ~CBPeripheral() = default;

  // The device's own name, valid UTF-8; absent while unknown. It may change, also by connecting.
  virtual std::optional<std::string> name() const = 0;

  // Not owned. The delegate outlives the peripheral or is replaced; null stops the callbacks.
  virtual void setDelegate(CBPeripheralDelegate* delegate) = 0;

  // What the last discoverServices found, in handle order; null before the first one has been
  // answered and after one that failed. Empty when the device has none of those asked for.
  virtual const std::vector<CBService*>* services() const = 0;

  // Looks for the services with these identifiers; those absent on the device are left out of the
  // result. Always answered by peripheralDidDiscoverServices, with an error when the link is lost
  // before the device's services are known.
  virtual void discoverServices(std::span<const CBUUID> services) = 0;

  // Looks for the characteristics with these identifiers in a service of this peripheral. Answered
  // by peripheralDidDiscoverCharacteristicsFor.
  virtual void discoverCharacteristics(std::span<const CBUUID> characteristics,
                                       CBService& service) = 0;

  // Subscribes (true) to the characteristic's notifications, or indications where it has no
  // notifications, or unsubscribes (false). Any thread. Answered by
  // peripheralDidUpdateNotificationStateFor, with an error when the device refuses. No value is
  // delivered after a successful unsubscription has been confirmed.
  virtual void setNotifyValue(bool enabled, CBCharacteristic& characteristic) = 0;

  // Reads the characteristic once. Answered by exactly one peripheralDidUpdateValueFor, with an
  // error and no value when the device refuses.
  virtual void readValue(CBCharacteristic& characteristic) = 0;

  // Writes with the device's acknowledgement; a value longer than one packet is written whole. Any
  // thread. No callback follows, neither on success nor when the device refuses.
  virtual void writeValue(Value value, CBCharacteristic& characteristic,
                          CBCharacteristicWriteType type) = 0;
};

class CBCentralManager;

class CBCentralManagerDelegate {
 public:
  // Comes once after the manager was made, when the radio's state is first known, and at every
  // change of it. While the state is not known, for a moment or until the user has given
  // permission, nothing is reported. The same state twice in a row means that there was another in
  // between: a scan and all links have ended.
  virtual void centralManagerDidUpdateState(CBCentralManager& central) = 0;

  // While scanning: a device was seen. Once per device and scan, and again when a name becomes
  // known that was not. Devices that are already connected to this machine are reported at the
  // start of a scan, since a connected device does not advertise; devices that another program
  // connects to during the scan are reported if the system reports that.
  virtual void centralManagerDidDiscover(CBCentralManager& central,
                                         const std::shared_ptr<CBPeripheral>& peripheral) = 0;

  // Follows connect, once per link that comes up.
  virtual void centralManagerDidConnect(CBCentralManager& central,
                                        const std::shared_ptr<CBPeripheral>& peripheral) = 0;

 protected:
  ~CBCentralManagerDelegate() = default;
};

class CBCentralManager {
 public:
  CBCentralManager() = default;
  CBCentralManager(const CBCentralManager&) = delete;
  CBCentralManager& operator=(const CBCentralManager&) = delete;
  virtual ~CBCentralManager() = default;

  // unknown until the first centralManagerDidUpdateState.
  virtual CBManagerState state() const = 0;

  // Reports every advertising device, whatever its services. Called while powered on; a new call
  // starts a new scan, in which known devices are reported again. A scan ends by stopScan or when
  // the state leaves poweredOn.
  virtual void scanForPeripherals() = 0;
  virtual void stopScan() = 0;

  // Asks for a link. Never times out and is never reported as failed: the request stands until the
  // link is up, also after the scan has stopped and over a loss of the radio. Asking again while it
  // stands changes nothing. No platform can promise that the link ever comes up, and one whose
  // system gives up a request (macOS does when a device has forgotten its pairing) does not repeat
  // it.
  virtual void connect(const std::shared_ptr<CBPeripheral>& peripheral) = 0;
};

// What the platform has to know of the output that the callbacks write to: a reader that stalls
// must not block the main thread, since what the devices send meanwhile has to be received. Any
// thread.
class Output {
 public:
  // True while something that was written waits in memory for the reader.
  virtual bool holdsBack() const = 0;

  // Writes as much of it as the reader has room for. Returns at once.
  virtual void letOut() = 0;

  // While something is held back, letOut() has to be called when this descriptor accepts output or
  // its reader is gone. One call may write only a part; the descriptor then accepts nothing more.
  virtual int descriptor() const = 0;

 protected:
  ~Output() = default;
};

// The operating system as the bridge needs it: its central, its run loop, its clock.
class Platform {
 public:
  Platform() = default;
  Platform(const Platform&) = delete;
  Platform& operator=(const Platform&) = delete;
  virtual ~Platform() = default;

  // At most one manager at a time. The delegate is not owned and outlives the manager.
  virtual std::unique_ptr<CBCentralManager> makeCentralManager(
      CBCentralManagerDelegate& delegate) = 0;

  // Serves the stack's events and makes the callbacks until the given date. If that is past, serves
  // only what is there.
  virtual void runUntil(double date) = 0;

  // The current date, in seconds since 1 January 1970.
  virtual double now() const = 0;

  // Blocks the calling thread; nothing is served meanwhile.
  virtual void sleep(std::chrono::microseconds duration) = 0;

  // From now on callbacks are made only while this output holds nothing back, so that nothing is
  // lost when a reader stalls: what the devices send meanwhile is received into memory, up to 64
  // MiB, and delivered in order afterwards. At that limit nothing more is received: no platform can
  // promise how much the system then keeps and what it drops. runUntil writes what is held back as
  // soon as there is room. Not owned; it outlives the platform's last runUntil.
  virtual void deliverInto(Output& output) = 0;
};

// The implementation that the program links. It reports a missing stack as the manager's state.
std::unique_ptr<Platform> makePlatform();

}  // namespace platform
