// One device of the stand-in's radio: its host on the air, its link, and the requests that wait for
// their turn. Main thread.
#pragma once

#import <CoreBluetooth/CoreBluetooth.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <set>
#include <string>
#include <string_view>

#include "lab/DeviceModel.h"
#include "lab/Uuid.h"
#include "lab/Witness.h"
#include "platform/corebluetooth/Retained.h"
#include "support/corebluetooth/Air.h"

namespace standin {

using platform::corebluetooth::Retained;

class Device final : public lab::Link, public lab::StackDevice {
 public:
  Device(Air& air, lab::DeviceModel& model, std::size_t number);
  ~Device();

  Faults faults;

  // The one object that stands for the device while somebody holds it and the radio is on.
  CBPeripheral* object();
  NSUUID* identifier() const { return identifier_.get(); }
  bool isKnown() const { return isKnown_; }
  void forgetObject();
  // The central is gone. The link stays up, as while another program holds it.
  void forgetCentral();
  // With all that its program had.
  void forgetProgram();

  lab::DeviceModel& model() const override { return model_; }
  const std::string& key() const override { return key_; }
  bool isInRange() const override { return isKnown_; }
  const std::string& knownName() const override { return toldName_; }
  std::size_t objectCount() const override { return 1; }
  bool canBeConnected() const override { return isPresent_ && faults.failedConnections == 0; }
  bool isHidden() const override { return faults.discoveryError.has_value(); }
  bool isBeingConnected() const override { return isAskedFor_; }
  bool isConnected() const override { return isToldLinked_; }
  bool areServicesResolved() const override { return isToldLinked_; }
  bool isSubscribed(std::string_view uuid) const override;

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
  void radioDidGoOff();
  // The program is told that the radio was off: what it has asked until then is void.
  void forgetRequests();
  void setHeld(bool isHeld);  // by another program
  void modifyServices();
  void whenAsked(std::size_t times, std::function<void()> action);
  void retrieved();  // among those that are connected

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
    std::string_view verb;
    std::string uuid;
    std::function<void()> carryOut;
    std::function<void()> refuse;  // the device does; null: it cannot
    std::function<void(NSError*)> fail;
    std::function<void()> dismiss = {};  // its characteristic has become invalid; null: it has none
  };

  using Seen = std::function<void(lab::Witness&)>;

  void beSeen();
  void linkUp();
  void failToLink();
  void tellLink();
  void loseLink(bool isReported);
  void didLoseLink();
  bool isNameKnown() const { return !faults.doesNameComeLater || reports_ > 1; }
  NSString* nameNow() const;
  void witness(const Seen& seen) const;
  void request(Request request);
  void carryOut(const Request& request);
  void startNext();
  void advance();
  const lab::Characteristic& declared(lab::CharacteristicIndex index) const;
  std::string uuidOf(lab::CharacteristicIndex index) const {
    return lab::longForm(declared(index).uuid);
  }

  // Makes the callback, from the run loop. seen: what the witness is told then; null: nothing.
  void tell(std::function<void(CBPeripheral*)> call);
  void tellServices(NSArray* wanted);
  void tellCharacteristics(NSArray* wanted, CBService* service);
  void tellValue(CBCharacteristic* characteristic, NSData* value, NSError* error, Seen seen);
  void tellNotificationState(CBCharacteristic* characteristic, NSError* error, Seen seen);

  Air& air_;
  lab::DeviceModel& model_;
  std::string key_;
  CBPeripheral* object_ = nil;  // not owned
  Retained<NSUUID*> identifier_;
  bool isReported_ = false;
  std::size_t reports_ = 0;   // in all
  std::string toldName_;      // to the program
  std::uint64_t report_ = 0;  // numbers the reports; only the last one is repeated
  bool isKnown_ = false;      // to the framework, by a report
  bool isPresent_ = true;
  bool isWanted_ = false;
  bool isAskedFor_ = false;    // a request for its link stands, as the program knows
  bool isLinked_ = false;      // whoever holds the link
  bool isHeld_ = false;        // by another program, besides
  bool isOurs_ = false;        // the link
  bool isToldLinked_ = false;  // the program knows of its link
  std::uint64_t link_ = 0;     // numbers the links
  std::uint64_t turn_ = 0;     // numbers the appointments of the model; only the last one counts
  std::size_t tree_ = 0;       // numbers its services' changes, and those that the program knows of
  std::size_t toldTree_ = 0;
  std::set<lab::CharacteristicIndex> subscribed_;
  std::deque<Request> requests_;
  std::uint64_t start_ = 0;  // numbers the times when the first of them is begun
  bool isStuck_ = false;     // it is not answered
  std::size_t untilAsked_ = 0;
  std::function<void()> onceAsked_;
};

}  // namespace standin
