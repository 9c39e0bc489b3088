// What is on the air of the demo: a radio, the devices chosen, their misbehaviour.
#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "lab/models/Models.h"
#include "lab/simulated/Platform.h"
#include "lab/simulated/SimulatedDevice.h"

namespace lab::demo {

class Air {
 public:
  Air();

  platform::simulated::Platform& platform() { return platform_; }

  // Puts one more device on the air; false for a kind that there is not.
  bool add(std::string_view kind);

  // A control line for every device that knows it; false when none does.
  bool control(std::string_view line);

  // Misbehaviour of the radio, or of every device there is; false when it is not understood. See
  // helpText().
  bool setFault(std::string_view name, std::string_view argument);

 private:
  struct Participant {
    std::unique_ptr<BenchDevice> model;
    std::unique_ptr<SimulatedDevice> host;
  };

  bool setRadioFault(std::string_view argument);
  bool setFaultOf(Participant& participant, std::string_view name, std::string_view argument);
  bool setNameFault(Participant& participant, std::string_view name, std::string_view argument);
  bool setTimingFault(platform::simulated::Device& device, std::string_view name,
                      std::string_view argument);

  platform::simulated::Platform platform_{platform::simulated::TimeMode::real};
  std::vector<std::unique_ptr<Participant>> participants_;
};

}  // namespace lab::demo
