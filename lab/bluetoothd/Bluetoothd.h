// A model of bluetoothd for one client on a simulated message bus: adapters, discovery, devices,
// links and GATT objects, with what is known of the daemon's behaviour and of the faults of its
// versions. The devices are the lab's models. Time is the agenda's and chance is the dice's, so
// that the same seed gives the same session.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "lab/Witness.h"
#include "lab/bluetoothd/Agenda.h"
#include "lab/bluetoothd/BusObjects.h"
#include "lab/bluetoothd/Dice.h"
#include "lab/bluetoothd/MessageBus.h"
#include "lab/bluetoothd/RemoteDevice.h"

namespace lab {

// Behaviour that differs between versions, or from one time to the next; as it is in 5.66. Held
// against the recorded traffic of 5.55, 5.66 and 5.82 (tests/contract/traffic).
struct Traits {
  bool offersSockets = true;           // AcquireNotify works; else it fails with NotSupported
  bool offersMoreSockets = false;      // also where the device only indicates; since 5.80
  bool answersRefusedSockets = false;  // AcquireNotify fails when the device refuses, since
                                       // 5.84; before, it is then never answered
  bool tellsConnected = true;          // signals Connected true; 5.66 may omit it after a hang
  bool tellsConnectedLate = false;     // only in the signal of ServicesResolved, though the
                                       // property is true before: 5.55
  bool tellsDiscoveringOff = true;     // signals Discovering false when its client stops it or goes
  bool signalsValuesEarly = false;     // signals values before it answers StartNotify
  bool succeedsWithoutALink = false;   // Connect now and then succeeds although no link comes
  bool resolvesBeforeObjects = false;  // ServicesResolved true before the InterfacesAdded
  bool tellsLossBeforeErrors = true;   // Connected false before the pending requests fail
  bool joinsChanges = true;            // one signal for what changes together: Connected and
                                       // ServicesResolved, Powered and Discovering
  bool forgetsAtDiscoveryEnd = false;  // removes who was never connected when discovery ends, and
                                       // not only when it was not heard for a while
  bool powersAdaptersLate = false;     // adapters appear unpowered when it starts
  bool showsAccessService = false;     // the service with the device's name, 0x1800, as in 5.82
  bool tellsPowerFirst = false;        // when it ends, Powered false before Connected false: 5.82
                                       // on Linux 6.12
  bool forgetsAtPowerOff = true;       // removes who was never connected; 5.55 does not
  bool namesFailures = true;           // says why a Connect fails in words of its own; 5.55 in
                                       // the system's
  bool forgetsFailed = false;          // removes a device as soon as its Connect fails, unless it
                                       // is stored: 5.82
};

struct DeviceObject;

class Bluetoothd {
 public:
  struct Adapter {
    bool isPowered = false;
    bool isForClient = false;   // the client discovers
    bool isForLeaver = false;   // the client that discovers is gone, which is not noticed yet
    bool isForAnother = false;  // another program discovers
    bool wasForClient = false;  // the client has discovered, whether it does now or not
    bool isOccupied = false;    // with what discovery cannot begin beside: another's inquiry

    bool isDiscovering() const { return isForClient || isForAnother; }
  };

  Bluetoothd(Agenda& agenda, Dice& dice, MessageBus& bus, Witness& witness);
  Bluetoothd(const Bluetoothd&) = delete;
  Bluetoothd& operator=(const Bluetoothd&) = delete;
  ~Bluetoothd();

  Traits traits;
  bool deniesAccess = false;
  bool deniesDiscovery = false;  // StartDiscovery alone

  RemoteDevice& add(DeviceModel& model, const std::string& key);
  std::vector<std::unique_ptr<RemoteDevice>>& devices() { return devices_; }

  // Adapters, by path. They are hardware and stay while the daemon is stopped.
  void plug(const std::string& adapter, bool isPowered);
  void unplug(const std::string& adapter);
  void setPowered(const std::string& adapter, bool isPowered);
  bool isPowered(const std::string& adapter) const;
  bool hasAdapter(const std::string& adapter) const { return adapters_.contains(adapter); }
  bool isDiscovering(const std::string& adapter) const;

  void start();
  void stop();  // it takes its objects away, from the last link to the adapters
  void kill();  // it tells nothing more
  bool isRunning() const { return isRunning_; }

  const std::map<std::string, Adapter>& adapters() const { return adapters_; }

  // No call is unanswered, except Connect, and no end of a subscription unseen.
  bool isIdle() const;

  // Lets the daemon hang: it answers no call for this long.
  void standStill(Microseconds time) { busyUntil_ = std::max(busyUntil_, agenda_.now() + time); }

  // What other programs do.
  void changeAlias(const std::string& adapter);
  void discoverForAnother(const std::string& adapter, bool isOn);
  void occupy(const std::string& adapter, bool isOn);
  void remove(RemoteDevice& device);

  void hear(RemoteDevice& device);
  // Lets a device of no supported family be heard, for the first time or again.
  void passBy(const std::string& adapter, const std::string& key, const std::string& name);
  void dropLink(RemoteDevice& device);
  // Lets the device's model do what is due.
  void wake(RemoteDevice& device);

 private:
  friend class RemoteDevice;
  using Gatt = RemoteDevice::Gatt;

  void receive(BusMessage call);
  void serveNext();
  void serve(const BusMessage& call);
  void serveAdapter(const BusMessage& call, const std::string& path, const std::string& member);
  void serveDevice(const BusMessage& call, RemoteDevice& device, const std::string& member);
  void serveGatt(const BusMessage& call, RemoteDevice& device, Gatt& gatt,
                 const std::string& member);
  void serveProperty(const BusMessage& call, const std::string& path);
  void listObjects(const BusMessage& call);
  void reply(const BusMessage& call) { bus_.sendReply(MessageBus::newReply(call)); }
  void clientDidGo();

  void connect(const BusMessage& call, RemoteDevice& device);
  void linkUp(RemoteDevice& device);
  void resolve(RemoteDevice& device);
  void readName(RemoteDevice& device);
  void failConnect(RemoteDevice& device, const char* text);
  void unsubscribe(RemoteDevice& device, Gatt& gatt);

  // Calls answer with the request's fate after a while, unless the link is lost before.
  void request(const BusMessage& call, RemoteDevice& device, const char* verb, Gatt& gatt,
               const std::function<void(Witness::Fate)>& answer);
  void fail(const BusMessage& call, AttError error);
  void failUnknown(const BusMessage& call, const char* error);
  void read(const BusMessage& call, RemoteDevice& device, Gatt& gatt);
  void write(const BusMessage& call, RemoteDevice& device, Gatt& gatt);
  void acquire(const BusMessage& call, RemoteDevice& device, Gatt& gatt);
  void startNotify(const BusMessage& call, RemoteDevice& device, Gatt& gatt);
  void takeValue(RemoteDevice& device, Gatt& gatt, const Bytes& value);
  void lookAtSockets(RemoteDevice& device);
  void advance(RemoteDevice& device);

  const std::string* adapterThatHears(const RemoteDevice& device) const;
  void forgetStranger(const std::string& path);
  void forget(RemoteDevice& device);
  void expire(RemoteDevice& device);
  void tellGattRemoved(const RemoteDevice& device);
  void forgetUnheard(const std::string& adapter);
  void forgetTemporary(const std::string& adapter);
  void tellObject(RemoteDevice& device);
  void tellStart();
  static DeviceObject objectOf(const RemoteDevice& device);
  void tellChange(const std::string& path, const char* interface, const Properties& changed);
  void tellAdded(const std::string& path, const std::function<void(sd_bus_message*)>& interfaces);
  void tellRemoved(const std::string& path, const char* interface);
  void stopDiscovery(const std::string& path, Adapter& adapter);
  void endAll(const std::string& path, Adapter& adapter, bool tellsPowerFirst);
  RemoteDevice* deviceAt(const std::string& path);
  Microseconds shortTime() { return dice_.between(Microseconds(100), Microseconds(20'000)); }
  void later(Microseconds delay, Agenda::Action action);

  Agenda& agenda_;
  Dice& dice_;
  MessageBus& bus_;
  Witness& witness_;
  bool isRunning_ = false;
  bool isKilled_ = false;
  std::size_t life_ = 0;
  std::map<std::string, Adapter> adapters_;
  std::vector<std::unique_ptr<RemoteDevice>> devices_;
  struct Stranger {
    std::string name;
    std::int16_t rssi;
    Microseconds lastHeard;
  };
  std::map<std::string, Stranger> strangers_;  // by path
  std::deque<BusMessage> calls_;
  bool isServing_ = false;
  Microseconds busyUntil_{0};
  // The calls that wait for a device's answer, by number; they fail when the link is lost.
  struct Pending {
    RemoteDevice* device;
    Gatt* gatt;
    BusMessage call;
    bool isIgnored;  // by the device, which will never answer it
  };
  std::map<std::size_t, Pending> pending_;
  std::size_t requestCount_ = 0;
};

}  // namespace lab
