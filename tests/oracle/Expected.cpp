#include "tests/oracle/Expected.h"

#include "tests/oracle/Identifiers.h"
#include "tests/oracle/Output.h"

namespace oracle {

void Expected::log(const std::string& text) {
  entries_.push_back(logLine(text));
}

void Expected::message(const std::string& payload) {
  const auto line = messageLine(payload);
  if (!line) hardStop();
  entries_.push_back(*line);
}

void Expected::hardStop() {
  entries_.push_back(hardStopEntry);
  throw Ended();
}

void Expected::exit() {
  entries_.push_back(exitEntry);
  throw Ended();
}

std::string printed(const Failure& failure) {
  return "Error Domain=" + failure.domain + " Code=" + std::to_string(failure.code) + " \"" +
         failure.message + "\"";
}

int byteAt(Expected& expected, const std::optional<Bytes>& value, std::size_t index) {
  if (!value || index >= value->size()) expected.hardStop();
  return (*value)[index];
}

std::string reading(const Device& device, const Characteristic& characteristic) {
  return device.label + " readValue " + characteristic.label;
}

std::string notifying(const Device& device, bool enabled, const Characteristic& characteristic) {
  return device.label + " setNotifyValue " + (enabled ? "YES " : "NO ") + characteristic.label;
}

std::string writing(const Device& device, const Bytes& value,
                    const Characteristic& characteristic) {
  std::string text = device.label + " writeValue " + characteristic.label;
  for (const int byte : value) text += " " + std::to_string(byte);
  return text;
}

std::string discoveringServices(const Device& device, const std::vector<std::string_view>& wanted) {
  std::string text = device.label + " discoverServices";
  for (const auto uuid : wanted) text += " " + printed(uuid);
  return text;
}

std::string discoveringCharacteristics(const Device& device, const Service& service,
                                       const std::vector<std::string_view>& wanted) {
  std::string text = device.label + " discoverCharacteristics " + service.label;
  for (const auto uuid : wanted) text += " " + printed(uuid);
  return text;
}

}  // namespace oracle
