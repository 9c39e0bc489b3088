// The demo's radio and devices, and their misbehaviour.
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

  // Switches one more device on; false for an unknown kind.
  bool add(std::string_view kind);

  // Gives a control line to every device; false when none understands it.
  bool control(std::string_view line);

  // Sets a fault of the radio, or of all devices; false when one of them does not understand it.
  // helpText() lists the faults.
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
