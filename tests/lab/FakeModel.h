// A device whose values the test sets, and an observer that records its calls.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "lab/DeviceModel.h"
#include "lab/Text.h"
#include "lab/att/AttServer.h"

namespace lab {

class FakeModel : public DeviceModel {
 public:
  explicit FakeModel(std::vector<Service> services) : services_(std::move(services)) {}

  std::string name() const override { return "Bench"; }
  const std::vector<Service>& services() const override { return services_; }
  void connected(Link& link) override { link_ = &link; }
  void disconnected() override {
    link_ = nullptr;
    ++disconnections_;
  }
  ReadResult read(CharacteristicIndex characteristic) override {
    ++reads_;
    return values_[characteristic];
  }
  AttError write(CharacteristicIndex characteristic, std::span<const std::uint8_t> value) override {
    if (writeRefusal_ != AttError::none) return writeRefusal_;
    values_[characteristic] = Bytes(value.begin(), value.end());
    return AttError::none;
  }
  AttError subscribe(CharacteristicIndex characteristic, bool enabled) override {
    if (subscribeRefusal_ != AttError::none) return subscribeRefusal_;
    subscriptions_.push_back((enabled ? "+" : "-") + std::to_string(characteristic));
    return AttError::none;
  }
  std::optional<Microseconds> advance(Microseconds) override {
    while (link_ != nullptr && !toSend_.empty() && link_->notify(0, toSend_.front())) {
      toSend_.erase(toSend_.begin());
    }
    return std::nullopt;
  }

  std::vector<Service> services_;
  std::map<CharacteristicIndex, ReadResult> values_;
  std::vector<std::string> subscriptions_;
  std::vector<Bytes> toSend_;
  AttError writeRefusal_ = AttError::none;
  AttError subscribeRefusal_ = AttError::none;
  Link* link_ = nullptr;
  int reads_ = 0;
  int disconnections_ = 0;
};

class AttEvents final : public AttObserver {
 public:
  void didRead(const Uuid& uuid) override { events_.push_back("read " + uuid.text()); }
  void didWrite(const Uuid& uuid, std::span<const std::uint8_t> value) override {
    events_.push_back("wrote " + uuid.text() + " " + toHex(value));
  }
  void didSubscribe(const Uuid& uuid, bool enabled) override {
    events_.push_back((enabled ? "subscribed " : "unsubscribed ") + uuid.text());
  }
  void didRefuse(const std::string& step) override { events_.push_back("refused " + step); }

  std::vector<std::string> events_;
};

}  // namespace lab
