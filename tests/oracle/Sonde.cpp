#include "tests/oracle/Handlers.h"
#include "tests/oracle/Identifiers.h"
#include "tests/oracle/Utf8.h"

namespace oracle {

Sonde::Sonde(Expected& expected, const Device& device) : Handler(expected, device) {
  if (!device_.name || !scalars(*device_.name)) expected_.hardStop();
  isIlo_ = beginsWith(lowered(*device_.name), "ilo");
  expected_.call(device_.label + " setDelegate");
  expected_.message(isIlo_ ? "C;1;" : "C;2;");
}

void Sonde::servicesDiscovered(const Discovery& discovery) {
  useServices(
      expected_, device_, discovery,
      {{serviceIlo, {characIlo}}, {serviceTenoval, {characTenoval}}, {serviceBatt, {characBatt}}},
      false);
}

void Sonde::characteristicsDiscovered(const Service& service) {
  useCharacteristics(
      expected_, device_, service,
      {{characIlo, false, true}, {characTenoval, false, true}, {characBatt, true, true}});
}

void Sonde::valueUpdated(std::string_view uuid, const std::optional<Bytes>& value) {
  if (!value) expected_.hardStop();
  const auto at = [&](std::size_t index) { return byteAt(value, index); };
  if (uuid == characBatt) {
    battery_ = at(0);
  } else if (uuid == characIlo) {
    battery_ = at(12);
    expected_.message("S;" + std::to_string(battery_) + ";" + std::to_string(at(2) + 256 * at(3)) +
                      ";0;");
  } else if (uuid == characTenoval) {
    expected_.message("S;" + std::to_string(battery_) + ";" + std::to_string(256 * at(0) + at(1)) +
                      ";" + std::to_string(256 * at(2) + at(3)) + ";");
  }
}

}  // namespace oracle
