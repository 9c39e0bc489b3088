// A device as bluetoothd has it: what it has heard of it, its link, its GATT objects, and the
// subscriptions that the one client has made.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "lab/DeviceModel.h"
#include "lab/bluetoothd/MessageBus.h"

namespace lab {

class Bluetoothd;

class RemoteDevice final : public Link {
 public:
  struct Gatt {
    std::string path;
    std::string uuid;  // 36 characters, lower case
    bool isService = false;
    Characteristic declared;
    CharacteristicIndex index = 0;
    // The client's subscription.
    enum class Way { none, socket, signals };
    Way way = Way::none;
    int socket = -1;
    unsigned subscription = 0;  // counts them, and their ends
  };

  RemoteDevice(Bluetoothd& bluetoothd, DeviceModel& model, std::string key)
      : bluetoothd_(bluetoothd), model_(model), key_(std::move(key)) {}
  ~RemoteDevice();

  bool notify(CharacteristicIndex characteristic, std::span<const std::uint8_t> value) override;
  std::size_t largestNotification() const override { return 244; }
  void drop() override;

  DeviceModel& model() const { return model_; }
  const std::string& key() const { return key_; }  // the last part of its path
  bool isConnected() const { return isConnected_; }
  bool areServicesResolved() const { return isResolved_; }
  bool hasObject() const { return !adapter_.empty(); }
  // What bluetoothd tells of it to who asks now: heard in this discovery, or connected.
  bool isInRange() const { return hasObject() && (hasRssi_ || isConnected_); }
  const std::string& knownName() const { return name_; }
  bool isBeingConnected() const { return connect_ != nullptr; }
  const std::string& adapter() const { return adapter_; }
  std::string path() const { return adapter_ + "/" + key_; }
  const Gatt* find(std::string_view uuid) const;
  bool isSubscribed(std::string_view uuid) const;

  // What the world around it decides.
  bool isAdvertising = false;             // when it is not connected
  bool isConnectable = true;              // answers a connection request
  bool doesNameComeLater = false;         // with the scan response, merged into a later report
  bool isStored = false;                  // bluetoothd has it on disk, from a former life
  bool doesResolveToNothing = false;      // GATT set-up fails
  bool isLostAtServiceDiscovery = false;  // the next link, while bluetoothd looks for services
  std::size_t generation = 0;             // counts links and losses: what was begun before is void
  std::size_t objects = 0;                // that bluetoothd has had for it

 private:
  friend class Bluetoothd;

  Bluetoothd& bluetoothd_;
  DeviceModel& model_;
  std::string key_;
  std::string adapter_;  // that has an object for it; empty for none
  std::string name_;     // as far as bluetoothd knows it
  Microseconds lastHeard_{0};
  bool hasRssi_ = false;
  bool isConnected_ = false;
  bool isResolved_ = false;
  BusMessage connect_;       // a pending Connect
  std::size_t attempt_ = 0;  // counts the Connects, so that an old one is void
  std::size_t turn_ = 0;     // counts the appointments of the model, of which the last one counts
  bool hasGattObjects_ = false;
  std::vector<Gatt> gatt_;
};

}  // namespace lab
