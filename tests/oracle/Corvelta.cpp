#include "tests/oracle/Handlers.h"
#include "tests/oracle/Identifiers.h"
#include "tests/oracle/Utf8.h"

namespace oracle {

Corvelta::Corvelta(Expected& expected, const Device& device) : Handler(expected, device) {
  expected_.call(device_.label + " setDelegate");
}

void Corvelta::servicesDiscovered(const Discovery& discovery) {
  useServices(expected_, device_, discovery,
              {{serviceBatt, {characBatt}},
               {serviceParametres, {characFirmwareText, characSecteur, characForceSleep}},
               {serviceCalibration, {characCalibration, characNewCalibration, characErreur}},
               {serviceContractions, {characAcquisition, characContractions}}},
              false);
}

void Corvelta::characteristicsDiscovered(const Service& service) {
  useCharacteristics(expected_, device_, service,
                     {{characSecteur, true, true},
                      {characBatt, true, false},
                      {characFirmwareText, true, false},
                      {characContractions, false, true},
                      {characNewCalibration, false, true},
                      {characErreur, false, true}});
  if (!service.characteristics) return;
  for (const Characteristic& characteristic : *service.characteristics) {
    if (characteristic.uuid == characCalibration) calibration = characteristic;
    if (characteristic.uuid == characAcquisition) acquisition = characteristic;
  }
}

void Corvelta::valueUpdated(std::string_view uuid, const std::optional<Bytes>& value) {
  if (!value) expected_.hardStop();
  const auto at = [&](std::size_t index) { return byteAt(value, index); };
  const auto text = [](int number) { return std::to_string(number) + ";"; };
  if (uuid == characBatt) {
    expected_.message("C;4;0;" + text(at(0)) + "0;");
  } else if (uuid == characSecteur) {
    expected_.log("Corvelta en charge : " + std::to_string(at(0)));
    if (at(0) != 0) expected_.message("V;");
  } else if (uuid == characFirmwareText) {
    expected_.log("version FW du CorVelta : " +
                  repaired(std::string(value->begin(), value->end())));
  } else if (uuid == characNewCalibration) {
    expected_.message("K;NC;" + text(at(0)));
  } else if (uuid == characErreur) {
    expected_.message("K;EC;" + text(at(0)));
  } else if (uuid == characContractions) {
    expected_.message("K;MC;" + text(at(3) + 256 * at(4)) + text(at(5)) +
                      text(at(0) + 256 * at(1) + 65536 * at(2)));
  }
}

}  // namespace oracle
