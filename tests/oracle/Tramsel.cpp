#include "tests/oracle/Handlers.h"
#include "tests/oracle/Identifiers.h"

namespace oracle {

Tramsel::Tramsel(Expected& expected, const Device& device) : Handler(expected, device) {
  expected_.call(device_.label + " setDelegate");
}

void Tramsel::servicesDiscovered(const Discovery& discovery) {
  useServices(expected_, device_, discovery,
              {{serviceTramsel, {characTramsel}}, {serviceBatt, {characBatt}}}, false);
}

void Tramsel::characteristicsDiscovered(const Service& service) {
  useCharacteristics(expected_, device_, service,
                     {{characTramsel, false, true}, {characBatt, true, true}});
}

void Tramsel::valueUpdated(std::string_view uuid, const std::optional<Bytes>& value) {
  if (uuid == characTramsel) {
    std::string text = "B;" + std::to_string(battery_) + ";";
    for (std::size_t i = 0; i < 9; ++i) {
      int number = byteAt(value, 2 * i) + 256 * byteAt(value, 2 * i + 1);
      if (number >= 32768) number -= 65536;
      text += std::to_string(number) + ";";
    }
    expected_.message(text);
  } else if (uuid == characBatt) {
    battery_ = byteAt(value, 0);
  }
}

}  // namespace oracle
