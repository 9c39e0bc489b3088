#include "tests/oracle/Handlers.h"
#include "tests/oracle/Identifiers.h"

namespace oracle {

namespace {

class Tramsel final : public Handler {
 public:
  Tramsel(Expected& expected, const Device& device) : Handler(expected, device, tramsel) {
    expected_.call(device_.label + " setDelegate");
  }
  std::unique_ptr<Handler> copy() const override { return std::make_unique<Tramsel>(*this); }
  void valueUpdated(std::string_view uuid, const std::optional<Bytes>& value) override;

 private:
  int battery_ = -1;
};

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

}  // namespace

const Family tramsel{
    .name = "tramsel",
    .beginnings = {"dorvane", "tramsel"},
    .parts = {{serviceTramsel, characTramsel, false, true, 18},
              {serviceBatt, characBatt, true, true, 1}},
    .models = {{"tramsel", "Tramsel-12", {serviceTramsel, serviceBatt}}},
    .make = make<Tramsel>,
    .announcement = "C;3;0;",
};

}  // namespace oracle
