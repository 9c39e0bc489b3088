#include "tests/oracle/Handlers.h"
#include "tests/oracle/Identifiers.h"
#include "tests/oracle/Utf8.h"

namespace oracle {

namespace {

class Corvelta final : public Handler {
 public:
  Corvelta(Expected& expected, const Device& device) : Handler(expected, device, corvelta) {
    expected_.call(device_.label + " setDelegate");
  }
  std::unique_ptr<Handler> copy() const override { return std::make_unique<Corvelta>(*this); }
  void valueUpdated(std::string_view uuid, const std::optional<Bytes>& value) override;
};

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

}  // namespace

const Family corvelta{
    .name = "corvelta",
    .beginnings = {"tarvix"},
    .parts = {{serviceBatt, characBatt, true, false, 1},
              {serviceParametres, characFirmwareText, true, false},
              {serviceParametres, characSecteur, true, true, 1},
              {serviceParametres, characForceSleep},
              {serviceCalibration, characCalibration},
              {serviceCalibration, characNewCalibration, false, true, 1},
              {serviceCalibration, characErreur, false, true, 1},
              {serviceContractions, characAcquisition},
              {serviceContractions, characContractions, false, true, 6}},
    .models = {{"corvelta",
                "Tarvix",
                {serviceParametres, serviceCalibration, serviceContractions, serviceBatt}}},
    .make = make<Corvelta>,
};

}  // namespace oracle
