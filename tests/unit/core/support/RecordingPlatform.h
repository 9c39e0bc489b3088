// A platform that only records: it writes every call into a journal, as readable text. The test
// delivers what a Bluetooth stack would answer, and sets the time.
#pragma once

#include <chrono>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/Platform.h"
#include "tests/unit/core/support/Journal.h"

namespace unit {

using Bytes = std::vector<std::uint8_t>;

// A characteristic. The label tells several with the same identifier apart.
class HandMadeCharacteristic final : public platform::CBCharacteristic {
 public:
  explicit HandMadeCharacteristic(const platform::CBUUID& uuid, std::string label = "");

  void setValue(std::optional<platform::Value> value) { value_ = value; }
  const std::string& label() const { return label_; }

 private:
  std::string label_;
};

class HandMadeService final : public platform::CBService {
 public:
  explicit HandMadeService(const platform::CBUUID& uuid) : CBService(uuid) {}

  // Sets the result of characteristics(); nothing makes it null.
  void setCharacteristics(std::optional<std::vector<platform::CBCharacteristic*>> characteristics) {
    characteristics_ = std::move(characteristics);
  }
};

// Its calls are recorded as "device.readValue 2A19": label, operation, identifier.
class RecordingPeripheral final : public platform::CBPeripheral {
 public:
  explicit RecordingPeripheral(Journal& journal, std::optional<std::string> name,
                               std::string label = "device");

  std::optional<std::string> name() const override { return name_; }
  void setDelegate(platform::CBPeripheralDelegate* delegate) override;
  const std::vector<platform::CBService*>* services() const override;
  void discoverServices(std::span<const platform::CBUUID> services) override;
  void discoverCharacteristics(std::span<const platform::CBUUID> characteristics,
                               platform::CBService& service) override;
  void setNotifyValue(bool enabled, platform::CBCharacteristic& characteristic) override;
  void readValue(platform::CBCharacteristic& characteristic) override;
  void writeValue(platform::Value value, platform::CBCharacteristic& characteristic,
                  platform::CBCharacteristicWriteType type) override;

  const std::string& label() const { return label_; }
  platform::CBPeripheralDelegate* delegate() const { return delegate_; }
  void setName(std::optional<std::string> name) { name_ = std::move(name); }

  // Each of these delivers one callback to the delegate.

  // Discovery found services with these identifiers, in this order.
  void discovered(std::initializer_list<platform::CBUUID> services,
                  const platform::Error* error = nullptr);
  // services() is null.
  void discoveredNoList(const platform::Error* error);
  // Discovery found these characteristics of a service, in this order.
  void discoveredIn(std::initializer_list<platform::CBCharacteristic*> characteristics,
                    const platform::Error* error = nullptr);
  // The service's characteristics() is null.
  void discoveredNoListIn(const platform::CBUUID& service, const platform::Error* error = nullptr);
  void confirmed(platform::CBCharacteristic& characteristic,
                 const platform::Error* error = nullptr);
  // The value is allocated on its own, so that a sanitizer sees a read past its end.
  void deliver(HandMadeCharacteristic& characteristic, const Bytes& value,
               const platform::Error* error = nullptr);
  void deliver(const platform::CBUUID& characteristic, const Bytes& value,
               const platform::Error* error = nullptr);
  void deliverNoValue(const platform::CBUUID& characteristic,
                      const platform::Error* error = nullptr);

 private:
  void add(const std::string& call) { journal_.add(label_ + "." + call); }

  Journal& journal_;
  std::optional<std::string> name_;
  std::string label_;
  platform::CBPeripheralDelegate* delegate_ = nullptr;
  std::vector<std::unique_ptr<HandMadeService>> made_;
  std::optional<std::vector<platform::CBService*>> services_;
};

class RecordingCentral final : public platform::CBCentralManager {
 public:
  RecordingCentral(Journal& journal, platform::CBManagerState state)
      : journal_(journal), state_(state) {}

  platform::CBManagerState state() const override { return state_; }
  void setState(platform::CBManagerState state) { state_ = state; }
  void scanForPeripherals() override { journal_.add("scanForPeripherals"); }
  void stopScan() override { journal_.add("stopScan"); }
  void connect(const std::shared_ptr<platform::CBPeripheral>& peripheral) override;

 private:
  Journal& journal_;
  platform::CBManagerState state_;
};

class RecordingPlatform final : public platform::Platform {
 public:
  explicit RecordingPlatform(Journal& journal) : journal_(journal) {}

  std::unique_ptr<platform::CBCentralManager> makeCentralManager(
      platform::CBCentralManagerDelegate& delegate) override;
  void runUntil(double date) override;
  double now() const override { return now_; }
  void sleep(std::chrono::microseconds duration) override;
  void deliverInto(platform::Output& output) override;

  void setNow(double date) { now_ = date; }

  // Sets what happens within runUntil, before the time advances to runUntil's date (unless the
  // event has advanced it further).
  void setEvent(std::function<void()> event) { event_ = std::move(event); }

 private:
  Journal& journal_;
  double now_ = 1'700'000'000;
  std::function<void()> event_;
};

// The entries of calls with these arguments, without the peripheral's label.
std::string discoverServices(std::initializer_list<platform::CBUUID> services);
std::string discoverCharacteristics(std::initializer_list<platform::CBUUID> characteristics,
                                    const platform::CBUUID& service);
std::string subscribe(const platform::CBUUID& characteristic);
std::string unsubscribe(const platform::CBUUID& characteristic);
std::string read(const platform::CBUUID& characteristic);
std::string write(std::string_view hexadecimal, const platform::CBUUID& characteristic);

}  // namespace unit
