// What the models have in common: a GATT tree with values and streams, pacing, and control lines
// with which a test or a person changes values and sets faults while the device runs.
//
// A model derives from it, builds its tree in its constructor, and defines the values of its
// streams and the effect of writes. Within a model a characteristic is named by its Id, its
// position in the whole tree, which stays the same when a fault hides a service.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "lab/DeviceModel.h"
#include "lab/Uuid.h"
#include "lab/models/ModelFaults.h"
#include "lab/models/Stream.h"

namespace lab {

class BenchDevice : public DeviceModel {
 public:
  // Obeys one control line; false when this device does not understand it.
  //   name TEXT            the name; without TEXT, the device has none
  //   rate N               values per second, of every stream
  //   rate UUID N          of one stream
  //   count N              each stream ends after N values per subscription
  //   stream on|off        all streams
  //   battery N            where there is a battery
  //   value UUID HEX       sets the characteristic's value, and notifies it to a subscriber
  //   send UUID HEX        one notification
  //   service-changed      adds the Service Changed characteristic, for the next connection
  //   withdraw UUID        removes the service until the link ends, and indicates Service Changed
  //   fault NAME=ARGUMENT  see ModelFaults and the model; "fault clear" ends them all
  // Faults that change the tree take effect at the next connection.
  bool control(std::string_view line);

  std::string name() const final { return name_; }
  const std::vector<Service>& services() const final { return visible_; }
  void connected(Link& link) final;
  void disconnected() final;
  ReadResult read(CharacteristicIndex characteristic) final;
  AttError write(CharacteristicIndex characteristic, std::span<const std::uint8_t> value) final;
  AttError subscribe(CharacteristicIndex characteristic, bool enabled) final;
  std::optional<Microseconds> advance(Microseconds now) final;

 protected:
  using Id = std::size_t;

  explicit BenchDevice(std::string name) : name_(std::move(name)) {}

  // Building the tree: characteristics belong to the service added last.
  void addService(std::string uuid);
  Id addCharacteristic(Characteristic characteristic, Bytes value = {});
  // A characteristic that sends the values of sample() while it is subscribed.
  Id addStream(Characteristic characteristic, double perSecond);

  // Lets a stream send only while its gate is open, also when it is subscribed.
  void gate(Id stream, bool isOpen);
  // Sets the value for reads, and notifies it to a subscriber.
  void setValue(Id id, Bytes value);
  // Queues one notification, if it is subscribed. Values that wait for the link keep their order.
  void post(Id id, Bytes value);
  // Largest value of one notification, in bytes; 0 while no central is connected.
  std::size_t largestNotification() const { return link_ ? link_->largestNotification() : 0; }
  const Bytes& value(Id id) const { return entries_[id].value; }

 private:
  // A stream's value number sequence.
  virtual Bytes sample(Id stream, std::uint32_t sequence) = 0;
  // Handles a write that no fault refused.
  virtual AttError written(Id id, std::span<const std::uint8_t> value);
  // Control lines and faults that only this model has; false when unknown.
  virtual bool controlled(std::string_view verb, std::string_view argument);
  virtual bool setFault(std::string_view name, std::string_view argument);
  virtual void clearFaults() {}

  struct Entry {
    Uuid uuid;
    std::string service;
    Characteristic declared;
    Bytes value;
    std::optional<Stream> stream;
    bool isOpen = true;
    bool isSubscribed = false;
    std::optional<CharacteristicIndex> index;  // in the visible tree
  };
  struct Posted {
    Id id;
    Bytes value;
  };

  std::vector<Id> treeOrder() const;
  void showTree();
  void updateRun(Entry& entry);
  bool deliver(Id id, Bytes value);
  bool deliverPosted();
  std::optional<Id> nextDue() const;
  std::optional<Id> find(std::string_view uuid) const;
  bool controlRate(std::string_view argument);
  bool controlValue(std::string_view verb, std::string_view argument);
  bool controlBattery(std::string_view argument);
  bool controlFault(std::string_view argument);
  bool withdraw(std::string_view service);

  std::string name_;
  std::string openService_;     // the service that characteristics are added to
  std::vector<Entry> entries_;  // by Id
  std::vector<Service> visible_;
  std::vector<Id> visibleIds_;  // by CharacteristicIndex
  std::deque<Posted> posted_;
  ModelFaults faults_;
  Link* link_ = nullptr;
  bool areStreamsOn_ = true;
};

}  // namespace lab
