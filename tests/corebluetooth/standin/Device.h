// One device of the stand-in's radio: its host on the air, its link, and the requests that wait for
// their turn. Main thread.
#pragma once

#import <CoreBluetooth/CoreBluetooth.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <set>

#include "corebluetooth/standin/Air.h"
#include "lab/DeviceModel.h"
#include "platform/corebluetooth/Retained.h"

namespace standin {

using platform::corebluetooth::Retained;

class Device final : public lab::Link {
 public:
  Device(Air& air, lab::DeviceModel& model);
  ~Device();

  Faults faults;

  // The one object that stands for the device while somebody holds it and the radio is on.
  CBPeripheral* object();
  NSUUID* identifier() const { return identifier_.get(); }
  bool isKnown() const { return isKnown_; }
  void forgetObject();
  // The central is gone. The link stays up, as while another program holds it.
  void forgetCentral();

  lab::DeviceModel& model() const { return model_; }
  bool isLinked() const { return isLinked_; }
  bool isToldLinked() const { return isToldLinked_; }
  bool isAdvertising() const { return isPresent_ && !isLinked_; }

  void setPresent(bool isPresent);
  void wake();

  // Scanning: a device is reported once, or again and again.
  void scanStarts() { isReported_ = false; }
  bool isNews() const { return !isReported_ || air_.isRepeating(); }
  void reported();

  void want();
  void tryToConnect();
  void radioIsOff();
  void holdByAnother();
  void modifyServices();

  void discoverServices(NSArray* identifiers);
  void discoverCharacteristics(NSArray* identifiers, CBService* service);
  void read(CBCharacteristic* characteristic);
  void write(NSData* value, CBCharacteristic* characteristic);
  void setNotify(bool enabled, CBCharacteristic* characteristic);

  bool notify(lab::CharacteristicIndex characteristic,
              std::span<const std::uint8_t> value) override;
  std::size_t largestNotification() const override { return 244; }
  void drop() override;

 private:
  // A request answers with an error, or with none, when it is its turn or when the link is lost.
  struct Request {
    std::function<void()> carryOut;
    std::function<void(NSError*)> fail;
  };

  void linkUp();
  void tellLink();
  void loseLink(bool isReported);
  void request(Request request);
  void startNext();
  void advance();
  const lab::Characteristic& declared(lab::CharacteristicIndex index) const;

  // Makes the callback, from the run loop.
  void tell(std::function<void(CBPeripheral*)> call);
  void tellValue(CBCharacteristic* characteristic, NSData* value, NSError* error);
  void tellNotificationState(CBCharacteristic* characteristic, NSError* error);

  Air& air_;
  lab::DeviceModel& model_;
  CBPeripheral* object_ = nil;  // not owned
  Retained<NSUUID*> identifier_;
  bool isReported_ = false;
  std::uint64_t report_ = 0;  // numbers the reports; only the last one is repeated
  bool isKnown_ = false;      // to the framework, by a report
  bool isPresent_ = true;
  bool isWanted_ = false;
  bool isLinked_ = false;      // whoever holds the link
  bool isOurs_ = false;        // the link
  bool isToldLinked_ = false;  // the program knows of its link
  std::uint64_t link_ = 0;     // numbers the links
  std::uint64_t turn_ = 0;     // numbers the appointments of the model; only the last one counts
  std::set<lab::CharacteristicIndex> subscribed_;
  std::deque<Request> requests_;
};

}  // namespace standin
