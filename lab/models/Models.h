// The device models, by kind.
#pragma once

#include <array>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "lab/models/BenchDevice.h"

namespace lab {

struct DeviceKind {
  std::string_view name;
  // Names that such devices advertise. A bridge recognizes the prefix, in upper or lower case.
  std::array<std::string_view, 4> deviceNames;
  std::unique_ptr<BenchDevice> (*make)();  // with its usual name
};

std::span<const DeviceKind> deviceKinds();

// The help text with the names of all kinds in place of %KINDS%.
std::string withKinds(std::string help);

// A device of that kind with its usual name; null for an unknown kind.
std::unique_ptr<BenchDevice> makeDevice(std::string_view kind);

}  // namespace lab
