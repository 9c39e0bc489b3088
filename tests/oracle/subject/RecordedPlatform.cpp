#include "tests/oracle/subject/RecordedPlatform.h"

using platform::CBCharacteristic;
using platform::CBUUID;

namespace subject {

namespace {

std::string listOf(std::span<const CBUUID> identifiers) {
  std::string text;
  for (const CBUUID& identifier : identifiers) text += " " + identifier.description();
  return text;
}

const std::string& labelOf(const CBCharacteristic& characteristic) {
  return static_cast<const RecordedCharacteristic&>(characteristic).label();
}

}  // namespace

void RecordedPeripheral::setDelegate(platform::CBPeripheralDelegate* delegate) {
  delegate_ = delegate;
  enter("setDelegate");
}

void RecordedPeripheral::discoverServices(std::span<const CBUUID> services) {
  enter("discoverServices" + listOf(services));
}

void RecordedPeripheral::discoverCharacteristics(std::span<const CBUUID> characteristics,
                                                 platform::CBService& service) {
  enter("discoverCharacteristics " + static_cast<RecordedService&>(service).label() +
        listOf(characteristics));
}

void RecordedPeripheral::setNotifyValue(bool enabled, CBCharacteristic& characteristic) {
  enter(std::string("setNotifyValue ") + (enabled ? "YES " : "NO ") + labelOf(characteristic));
}

void RecordedPeripheral::readValue(CBCharacteristic& characteristic) {
  enter("readValue " + labelOf(characteristic));
}

void RecordedPeripheral::writeValue(platform::Value value, CBCharacteristic& characteristic,
                                    platform::CBCharacteristicWriteType) {
  std::string text = "writeValue " + labelOf(characteristic);
  for (const std::uint8_t byte : value) text += " " + std::to_string(byte);
  enter(text);
}

void RecordedCentral::connect(const std::shared_ptr<platform::CBPeripheral>& peripheral) {
  entries_.push_back("connect " + static_cast<RecordedPeripheral&>(*peripheral).label());
}

}  // namespace subject
