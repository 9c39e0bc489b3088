// What the judge has to know of macOS: the framework tells each state of the radio, and a bridge
// passes all of them on but those that decide nothing.
#pragma once

#include <optional>
#include <string>

#include "support/corebluetooth/Air.h"
#include "tests/world/Radio.h"

namespace world {

class AirRadio final : public Radio {
 public:
  AirRadio(const lab::Agenda& agenda, const standin::Air& air);

  bool isToBeTold(std::size_t situation) const override;
  std::optional<bool> isDiscovering() const override;
  // It has been.
  bool doesReport(const lab::StackDevice& /*device*/) const override { return true; }

 private:
  void forget() override {}
  std::string situation() override;

  const standin::Air& air_;
};

}  // namespace world
