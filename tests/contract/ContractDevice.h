// The device of the contract tests: a GATT tree with one characteristic for each kind of behaviour,
// a record of the central's requests, and functions by which a test makes it act. Everything here
// belongs to the devices' thread: see Bench::onDevices.
#pragma once

#include <deque>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "lab/DeviceModel.h"

namespace contract {

using lab::Bytes;

// Its characteristics, in handle order over all services.
enum : lab::CharacteristicIndex {
  kReadable,     // first service
  kUnreadable,   // refuses every read
  kWritable,     //
  kUnwritable,   // refuses every write
  kStream,       // second service; notifies, readable and writable as well
  kOtherStream,  // notifies
  kIndicated,    // indicates, does not notify
  kRefused,      // refuses subscriptions
  kLast,         // third service; readable
};

inline constexpr char kFirstService[] = "7A5C0100-3B1E-4D27-9C6A-51E2F0A9D384";
inline constexpr char kSecondService[] = "7A5C0200-3B1E-4D27-9C6A-51E2F0A9D384";
inline constexpr char kThirdService[] = "7A5C0300-3B1E-4D27-9C6A-51E2F0A9D384";

// The identifier of one of the characteristics.
std::string identifierOf(lab::CharacteristicIndex characteristic);

class ContractDevice final : public lab::DeviceModel {
 public:
  enum class Act { read, write, subscribe, unsubscribe };
  struct Done {
    Act act;
    lab::CharacteristicIndex characteristic;
    Bytes value;

    bool operator==(const Done&) const = default;
  };

  explicit ContractDevice(std::string deviceName) : deviceName_(std::move(deviceName)) {}

  // What the central did, in order.
  const std::vector<Done>& done() const { return done_; }
  bool isConnected() const { return link_ != nullptr; }
  bool isSubscribed(lab::CharacteristicIndex which) const { return subscribed_.contains(which); }

  void setName(std::string deviceName) { deviceName_ = std::move(deviceName); }
  void setValue(lab::CharacteristicIndex which, Bytes value) { values_[which] = std::move(value); }

  // Sends these values, one notification each, about 500 a second.
  void send(lab::CharacteristicIndex which, const std::vector<Bytes>& values);
  // Sends this value as the first one whenever a central subscribes.
  void greetSubscribers(Bytes value) { greeting_ = std::move(value); }
  // Ends the link: now, or at the next read.
  void drop();
  void dropAtNextRead() { dropsAtRead_ = true; }

  std::string name() const override { return deviceName_; }
  const std::vector<lab::Service>& services() const override;
  void connected(lab::Link& link) override { link_ = &link; }
  void disconnected() override;
  lab::ReadResult read(lab::CharacteristicIndex characteristic) override;
  lab::AttError write(lab::CharacteristicIndex characteristic,
                      std::span<const std::uint8_t> value) override;
  lab::AttError subscribe(lab::CharacteristicIndex characteristic, bool enabled) override;
  std::optional<lab::Microseconds> advance(lab::Microseconds now) override;

 private:
  struct Outgoing {
    lab::CharacteristicIndex characteristic;
    Bytes value;
  };

  std::string deviceName_;
  lab::Link* link_ = nullptr;
  std::map<lab::CharacteristicIndex, Bytes> values_;
  std::set<lab::CharacteristicIndex> subscribed_;
  std::deque<Outgoing> outgoing_;
  lab::Microseconds nextSending_{0};
  std::optional<Bytes> greeting_;
  bool dropsAtRead_ = false;
  std::vector<Done> done_;
};

}  // namespace contract
