// A platform without a stack: every call is recorded in the oracle's wording; the test delivers
// what a stack would report, and sets the time.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/Platform.h"

namespace subject {

using Entries = std::vector<std::string>;

class RecordedCharacteristic final : public platform::CBCharacteristic {
 public:
  RecordedCharacteristic(const platform::CBUUID& uuid, std::string label)
      : CBCharacteristic(uuid), label_(std::move(label)) {}

  void setValue(std::optional<platform::Value> value) { value_ = value; }
  const std::string& label() const { return label_; }

 private:
  std::string label_;
};

class RecordedService final : public platform::CBService {
 public:
  RecordedService(const platform::CBUUID& uuid, std::string label)
      : CBService(uuid), label_(std::move(label)) {}

  void setCharacteristics(std::optional<std::vector<platform::CBCharacteristic*>> list) {
    characteristics_ = std::move(list);
  }
  const std::string& label() const { return label_; }

 private:
  std::string label_;
};

class RecordedPeripheral final : public platform::CBPeripheral {
 public:
  RecordedPeripheral(Entries& entries, std::string label)
      : entries_(entries), label_(std::move(label)) {}

  void setName(std::optional<std::string> name) { name_ = std::move(name); }
  void setServices(std::optional<std::vector<platform::CBService*>> list) {
    services_ = std::move(list);
  }
  platform::CBPeripheralDelegate* delegate() const { return delegate_; }
  const std::string& label() const { return label_; }

  std::optional<std::string> name() const override { return name_; }
  void setDelegate(platform::CBPeripheralDelegate* delegate) override;
  const std::vector<platform::CBService*>* services() const override {
    return services_ ? &*services_ : nullptr;
  }
  void discoverServices(std::span<const platform::CBUUID> services) override;
  void discoverCharacteristics(std::span<const platform::CBUUID> characteristics,
                               platform::CBService& service) override;
  void setNotifyValue(bool enabled, platform::CBCharacteristic& characteristic) override;
  void readValue(platform::CBCharacteristic& characteristic) override;
  void writeValue(platform::Value value, platform::CBCharacteristic& characteristic,
                  platform::CBCharacteristicWriteType type) override;

 private:
  void enter(const std::string& call) { entries_.push_back(label_ + " " + call); }

  Entries& entries_;
  std::string label_;
  std::optional<std::string> name_;
  std::optional<std::vector<platform::CBService*>> services_;
  platform::CBPeripheralDelegate* delegate_ = nullptr;
};

class RecordedCentral final : public platform::CBCentralManager {
 public:
  explicit RecordedCentral(Entries& entries) : entries_(entries) {}

  void setState(platform::CBManagerState state) { state_ = state; }

  platform::CBManagerState state() const override { return state_; }
  void scanForPeripherals() override { entries_.emplace_back("scan"); }
  void stopScan() override { entries_.emplace_back("stopScan"); }
  void connect(const std::shared_ptr<platform::CBPeripheral>& peripheral) override;

 private:
  Entries& entries_;
  platform::CBManagerState state_ = platform::CBManagerState::unknown;
};

class RecordedPlatform final : public platform::Platform {
 public:
  explicit RecordedPlatform(Entries& entries) : entries_(entries) {}

  void setNow(double date) { now_ = date; }

  std::unique_ptr<platform::CBCentralManager> makeCentralManager(
      platform::CBCentralManagerDelegate&) override {
    return std::make_unique<RecordedCentral>(entries_);
  }
  void runUntil(double date) override { now_ = date; }
  double now() const override { return now_; }
  void sleep(std::chrono::microseconds duration) override {
    entries_.push_back("sleep " + std::to_string(duration.count()));
  }
  void deliverInto(platform::Output&) override {}

 private:
  Entries& entries_;
  double now_ = 1'700'000'000;
};

}  // namespace subject
