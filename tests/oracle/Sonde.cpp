#include "tests/oracle/Handlers.h"
#include "tests/oracle/Identifiers.h"
#include "tests/oracle/Utf8.h"

namespace oracle {

namespace {

class Sonde final : public Handler {
 public:
  Sonde(Expected& expected, const Device& device);
  std::unique_ptr<Handler> copy() const override { return std::make_unique<Sonde>(*this); }
  const Model& model() const override { return isIlo_ ? sonde.models[0] : sonde.models[1]; }
  void valueUpdated(std::string_view uuid, const std::optional<Bytes>& value) override;

 private:
  bool isIlo_ = false;
  int battery_ = -1;
};

Sonde::Sonde(Expected& expected, const Device& device) : Handler(expected, device, sonde) {
  if (!device_.name || !scalars(*device_.name)) expected_.hardStop();
  isIlo_ = beginsWith(lowered(*device_.name), "ilo");
  expected_.call(device_.label + " setDelegate");
  expected_.message(isIlo_ ? "C;1;" : "C;2;");
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

}  // namespace

const Family sonde{
    .name = "sonde",
    .beginnings = {"ilo", "pelko", "pelk0", "tenoval", "kvaltrin"},
    .parts = {{serviceIlo, characIlo, false, true, 13},
              {serviceTenoval, characTenoval, false, true, 4},
              {serviceBatt, characBatt, true, true, 1}},
    .models = {{"ilo", "ILO-3", {serviceIlo}},
               {"tenoval", "Tenoval", {serviceBatt, serviceTenoval}}},
    .make = make<Sonde>,
};

}  // namespace oracle
