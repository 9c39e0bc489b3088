#include "contract/ContractDevice.h"

#include <utility>

namespace contract {
namespace {

using lab::AttError;
using lab::CharacteristicIndex;

lab::Characteristic characteristic(CharacteristicIndex which) {
  lab::Characteristic made;
  made.uuid = identifierOf(which);
  made.read = which == kReadable || which == kUnreadable || which == kStream || which == kLast;
  made.write = which == kWritable || which == kUnwritable || which == kStream;
  made.notify = which == kStream || which == kOtherStream || which == kRefused;
  made.indicate = which == kIndicated;
  return made;
}

lab::Service service(const char* identifier, CharacteristicIndex first, CharacteristicIndex last) {
  lab::Service made{identifier, {}};
  for (CharacteristicIndex i = first; i <= last; ++i) {
    made.characteristics.push_back(characteristic(i));
  }
  return made;
}

// The pause between two values. A real stack loses values when the device sends faster than their
// receiver gets to run: bluetoothd holds only some 270.
constexpr lab::Microseconds kPause{2000};

}  // namespace

std::string identifierOf(CharacteristicIndex characteristic) {
  return "7A5C100" + std::to_string(characteristic) + "-3B1E-4D27-9C6A-51E2F0A9D384";
}

const std::vector<lab::Service>& ContractDevice::services() const {
  static const std::vector<lab::Service> tree{service(kFirstService, kReadable, kUnwritable),
                                              service(kSecondService, kStream, kRefused),
                                              service(kThirdService, kLast, kLast)};
  return tree;
}

void ContractDevice::send(CharacteristicIndex which, const std::vector<Bytes>& values) {
  for (const Bytes& value : values) outgoing_.push_back({which, value});
}

void ContractDevice::drop() {
  if (link_ != nullptr) link_->drop();
}

void ContractDevice::disconnected() {
  link_ = nullptr;
  subscribed_.clear();
  outgoing_.clear();
}

lab::ReadResult ContractDevice::read(CharacteristicIndex characteristic) {
  done_.push_back({Act::read, characteristic, {}});
  if (std::exchange(dropsAtRead_, false)) drop();
  if (characteristic == kUnreadable) return AttError::readNotPermitted;
  return values_[characteristic];
}

AttError ContractDevice::write(CharacteristicIndex characteristic,
                               std::span<const std::uint8_t> value) {
  done_.push_back({Act::write, characteristic, Bytes(value.begin(), value.end())});
  return characteristic == kUnwritable ? AttError::writeNotPermitted : AttError::none;
}

AttError ContractDevice::subscribe(CharacteristicIndex characteristic, bool enabled) {
  done_.push_back({enabled ? Act::subscribe : Act::unsubscribe, characteristic, {}});
  if (characteristic == kRefused) return AttError::writeNotPermitted;
  if (enabled) {
    subscribed_.insert(characteristic);
    if (greeting_) outgoing_.push_front({characteristic, *greeting_});
  } else {
    subscribed_.erase(characteristic);
  }
  return AttError::none;
}

std::optional<lab::Microseconds> ContractDevice::advance(lab::Microseconds now) {
  if (link_ == nullptr || outgoing_.empty()) return std::nullopt;
  if (now < nextSending_) return nextSending_;
  const Outgoing& next = outgoing_.front();
  if (link_->notify(next.characteristic, next.value)) outgoing_.pop_front();
  nextSending_ = now + kPause;
  return nextSending_;
}

}  // namespace contract
