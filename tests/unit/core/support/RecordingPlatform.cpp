#include "tests/unit/core/support/RecordingPlatform.h"

#include <algorithm>
#include <utility>

using platform::CBCharacteristic;
using platform::CBPeripheral;
using platform::CBService;
using platform::CBUUID;
using platform::Error;
using platform::Value;

namespace unit {

namespace {

std::string listOf(std::span<const CBUUID> identifiers) {
  std::string text;
  for (const CBUUID& identifier : identifiers) text += " " + identifier.description();
  return text;
}

std::string hexadecimalOf(Value value) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string text;
  for (const std::uint8_t byte : value) {
    text += digits[byte / 16];
    text += digits[byte % 16];
  }
  return text;
}

const std::string& labelOf(const CBCharacteristic& characteristic) {
  return dynamic_cast<const HandMadeCharacteristic&>(characteristic).label();
}

std::string notifyText(bool enabled, const std::string& label) {
  return std::string("setNotifyValue ") + (enabled ? "true " : "false ") + label;
}

std::string discoverCharacteristicsText(std::span<const CBUUID> characteristics,
                                        const CBUUID& service) {
  return "discoverCharacteristics" + listOf(characteristics) + " of " + service.description();
}

}  // namespace

HandMadeCharacteristic::HandMadeCharacteristic(const CBUUID& uuid, std::string label)
    : CBCharacteristic(uuid), label_(label.empty() ? uuid.description() : std::move(label)) {}

RecordingPeripheral::RecordingPeripheral(Journal& journal, std::optional<std::string> name,
                                         std::string label)
    : journal_(journal), name_(std::move(name)), label_(std::move(label)) {}

void RecordingPeripheral::setDelegate(platform::CBPeripheralDelegate* delegate) {
  delegate_ = delegate;
  add("setDelegate");
}

const std::vector<CBService*>* RecordingPeripheral::services() const {
  return services_ ? &*services_ : nullptr;
}

void RecordingPeripheral::discoverServices(std::span<const CBUUID> services) {
  add("discoverServices" + listOf(services));
}

void RecordingPeripheral::discoverCharacteristics(std::span<const CBUUID> characteristics,
                                                  CBService& service) {
  add(discoverCharacteristicsText(characteristics, service.UUID()));
}

void RecordingPeripheral::setNotifyValue(bool enabled, CBCharacteristic& characteristic) {
  add(notifyText(enabled, labelOf(characteristic)));
}

void RecordingPeripheral::readValue(CBCharacteristic& characteristic) {
  add("readValue " + labelOf(characteristic));
}

void RecordingPeripheral::writeValue(Value value, CBCharacteristic& characteristic,
                                     platform::CBCharacteristicWriteType type) {
  const bool withResponse = type == platform::CBCharacteristicWriteType::withResponse;
  add("writeValue " + hexadecimalOf(value) + " to " + labelOf(characteristic) +
      (withResponse ? " withResponse" : " otherwise"));
}

void RecordingPeripheral::discovered(std::initializer_list<CBUUID> services, const Error* error) {
  services_.emplace();
  for (const CBUUID& uuid : services) {
    made_.push_back(std::make_unique<HandMadeService>(uuid));
    services_->push_back(made_.back().get());
  }
  delegate_->peripheralDidDiscoverServices(*this, error);
}

void RecordingPeripheral::discoveredNoList(const Error* error) {
  services_.reset();
  delegate_->peripheralDidDiscoverServices(*this, error);
}

void RecordingPeripheral::discoveredIn(std::initializer_list<CBCharacteristic*> characteristics,
                                       const Error* error) {
  static constexpr auto anyService = CBUUID::UUIDWithString("1234");
  HandMadeService service(anyService);
  service.setCharacteristics(characteristics);
  delegate_->peripheralDidDiscoverCharacteristicsFor(*this, service, error);
}

void RecordingPeripheral::discoveredNoListIn(const CBUUID& uuid, const Error* error) {
  HandMadeService service(uuid);
  delegate_->peripheralDidDiscoverCharacteristicsFor(*this, service, error);
}

void RecordingPeripheral::confirmed(CBCharacteristic& characteristic, const Error* error) {
  delegate_->peripheralDidUpdateNotificationStateFor(*this, characteristic, error);
}

void RecordingPeripheral::deliver(HandMadeCharacteristic& characteristic, const Bytes& value,
                                  const Error* error) {
  const auto copy = std::make_unique<std::uint8_t[]>(value.size());
  std::ranges::copy(value, copy.get());
  characteristic.setValue(Value(copy.get(), value.size()));
  delegate_->peripheralDidUpdateValueFor(*this, characteristic, error);
  characteristic.setValue(std::nullopt);
}

void RecordingPeripheral::deliver(const CBUUID& uuid, const Bytes& value, const Error* error) {
  HandMadeCharacteristic characteristic(uuid);
  deliver(characteristic, value, error);
}

void RecordingPeripheral::deliverNoValue(const CBUUID& uuid, const Error* error) {
  HandMadeCharacteristic characteristic(uuid);
  delegate_->peripheralDidUpdateValueFor(*this, characteristic, error);
}

void RecordingCentral::connect(const std::shared_ptr<CBPeripheral>& peripheral) {
  journal_.add("connect " + dynamic_cast<const RecordingPeripheral&>(*peripheral).label());
}

std::unique_ptr<platform::CBCentralManager> RecordingPlatform::makeCentralManager(
    platform::CBCentralManagerDelegate&) {
  journal_.add("makeCentralManager");
  return std::make_unique<RecordingCentral>(journal_, platform::CBManagerState::unknown);
}

void RecordingPlatform::runUntil(double date) {
  journal_.add("runUntil +" + std::to_string(date - now_));
  if (event_) event_();
  now_ = std::max(now_, date);
}

void RecordingPlatform::sleep(std::chrono::microseconds duration) {
  journal_.add("sleep " + std::to_string(duration.count()));
}

void RecordingPlatform::deliverInto(platform::Output& output) {
  journal_.add("deliverInto " + std::to_string(output.descriptor()));
}

std::string discoverServices(std::initializer_list<CBUUID> services) {
  return "discoverServices" + listOf(services);
}

std::string discoverCharacteristics(std::initializer_list<CBUUID> characteristics,
                                    const CBUUID& service) {
  return discoverCharacteristicsText(characteristics, service);
}

std::string subscribe(const CBUUID& characteristic) {
  return notifyText(true, characteristic.description());
}

std::string unsubscribe(const CBUUID& characteristic) {
  return notifyText(false, characteristic.description());
}

std::string read(const CBUUID& characteristic) {
  return "readValue " + characteristic.description();
}

std::string write(std::string_view hexadecimal, const CBUUID& characteristic) {
  return "writeValue " + std::string(hexadecimal) + " to " + characteristic.description() +
         " withResponse";
}

}  // namespace unit
