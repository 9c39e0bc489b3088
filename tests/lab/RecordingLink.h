// A link that records what a model sends, and a bench that makes the calls to a model.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "lab/DeviceModel.h"
#include "lab/Text.h"
#include "lab/Uuid.h"

namespace lab {

class RecordingLink final : public Link {
 public:
  bool notify(CharacteristicIndex characteristic, std::span<const std::uint8_t> value) override {
    if (room_ == 0) return false;
    --room_;
    indices_.push_back(characteristic);
    values_.emplace_back(value.begin(), value.end());
    return true;
  }
  std::size_t largestNotification() const override { return largest_; }
  void drop() override {}

  std::size_t largest_ = 20;
  std::size_t room_ = SIZE_MAX;
  std::vector<CharacteristicIndex> indices_;
  std::vector<Bytes> values_;
};

// Addresses a model's characteristics by their identifiers.
template <typename Model>
class Bench {
 public:
  Bench() { model_.connected(link_); }

  CharacteristicIndex at(std::string_view uuid) const {
    CharacteristicIndex index = 0;
    for (const Service& service : model_.services()) {
      for (const Characteristic& each : service.characteristics) {
        if (Uuid::parse(each.uuid) == Uuid::parse(uuid)) return index;
        ++index;
      }
    }
    ADD_FAILURE() << uuid << " is not there";
    return 0;
  }
  bool has(std::string_view uuid) const {
    for (const Service& service : model_.services()) {
      if (Uuid::parse(service.uuid) == Uuid::parse(uuid)) return true;
    }
    return false;
  }
  std::string read(std::string_view uuid) {
    const ReadResult result = model_.read(at(uuid));
    const auto* value = std::get_if<Bytes>(&result);
    return value != nullptr
               ? toHex(*value)
               : "error " + std::to_string(static_cast<int>(std::get<AttError>(result)));
  }
  AttError write(std::string_view uuid, std::string_view hex) {
    return model_.write(at(uuid), *fromHex(hex));
  }
  AttError subscribe(std::string_view uuid, bool enabled = true) {
    return model_.subscribe(at(uuid), enabled);
  }
  // The values that one call of advance at that time sends.
  std::vector<std::string> sentBy(Microseconds now) {
    link_.values_.clear();
    link_.indices_.clear();
    next_ = model_.advance(now);
    std::vector<std::string> sent;
    for (const Bytes& value : link_.values_) sent.push_back(toHex(value));
    return sent;
  }
  void reconnect() {
    model_.disconnected();
    model_.connected(link_);
  }

  RecordingLink link_;
  Model model_;
  std::optional<Microseconds> next_;  // the result of the last advance
};

using Values = std::vector<std::string>;

}  // namespace lab
