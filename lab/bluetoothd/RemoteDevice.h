// A device as bluetoothd knows it: what was heard of it, its link, its GATT objects, and the
// subscriptions of the one client.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "lab/DeviceModel.h"
#include "lab/Witness.h"
#include "lab/bluetoothd/MessageBus.h"

namespace lab {

class Bluetoothd;

class RemoteDevice final : public Link, public StackDevice {
 public:
  struct Gatt {
    std::string path;
    std::string uuid;  // 36 characters, lower case
    bool isService = false;
    Characteristic declared;
    CharacteristicIndex index = 0;
    // How the client is subscribed.
    enum class Way { none, socket, signals };
    Way way = Way::none;
    int socket = -1;
    unsigned subscription = 0;  // counts subscriptions and their ends
    unsigned oversights = 0;    // how often bluetoothd has not yet seen that the socket is closed
  };

  RemoteDevice(Bluetoothd& bluetoothd, DeviceModel& model, std::string key)
      : bluetoothd_(bluetoothd), model_(model), key_(std::move(key)) {}
  ~RemoteDevice();

  bool notify(CharacteristicIndex characteristic, std::span<const std::uint8_t> value) override;
  std::size_t largestNotification() const override { return 244; }
  void drop() override;

  DeviceModel& model() const override { return model_; }
  const std::string& key() const override { return key_; }  // the last part of its path
  bool isConnected() const override { return isConnected_; }
  bool areServicesResolved() const override { return isResolved_; }
  bool hasObject() const { return !adapter_.empty(); }
  // Heard in the current discovery, or connected.
  bool isInRange() const override { return hasObject() && (hasRssi_ || isConnected_); }
  const std::string& knownName() const override { return name_; }
  bool isBeingConnected() const override { return connect_ != nullptr; }
  std::size_t objectCount() const override { return objects; }
  bool canBeConnected() const override { return isAdvertising && isConnectable; }
  bool isHidden() const override { return doesResolveToNothing; }
  const std::string& adapter() const { return adapter_; }
  std::string path() const { return adapter_ + "/" + key_; }
  bool hasUnseenEnd() const;
  const Gatt* find(std::string_view uuid) const;
  bool isSubscribed(std::string_view uuid) const override;

  // Decided by the test.
  bool isAdvertising = false;             // while it is not connected
  bool isConnectable = true;              // answers a connection request
  bool doesNameComeLater = false;         // with the scan response, merged into a later report
  bool isStored = false;                  // bluetoothd knows it from disk when it starts
  bool doesResolveToNothing = false;      // its services resolve, but no GATT objects appear
  bool isLostAtServiceDiscovery = false;  // the next link is lost during service discovery
  std::size_t generation = 0;             // counts links and losses; older actions are void
  std::size_t objects = 0;                // how many D-Bus objects it has had

 private:
  friend class Bluetoothd;

  // Is removed when it is not heard any more.
  bool isTemporary() const {
    return hasObject() && !isStored && !isConnected_ && !isBeingConnected() && keptOn_.empty();
  }

  Bluetoothd& bluetoothd_;
  DeviceModel& model_;
  std::string key_;
  std::string adapter_;  // the path of the adapter that has an object for it; empty for none
  std::string name_;     // as bluetoothd knows it
  Microseconds lastHeard_{0};
  // The adapter that keeps it, on disk as well: a link is wanted, or was up when bluetoothd was
  // killed.
  std::string keptOn_;
  bool isEnding_ = false;  // it ends the link
  bool hasRssi_ = false;
  bool isConnected_ = false;
  bool isResolved_ = false;
  BusMessage connect_;       // the pending Connect call
  std::size_t attempt_ = 0;  // counts attempts to connect and their ends; older ones are void
  std::size_t turn_ = 0;     // numbers the model's calls on the agenda; only the last one is made
  bool hasGattObjects_ = false;
  std::vector<Gatt> gatt_;
};

}  // namespace lab
