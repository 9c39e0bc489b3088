// The devices that a bench has, by kind.
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
  // What such devices are called: a bridge knows them by the beginning, in any case.
  std::array<std::string_view, 4> deviceNames;
  std::unique_ptr<BenchDevice> (*make)();  // with its usual name
};

std::span<const DeviceKind> deviceKinds();

// A help's text with the names of all kinds in the place of %KINDS%.
std::string withKinds(std::string help);

// A device of that kind with its usual name; null for an unknown kind.
std::unique_ptr<BenchDevice> makeDevice(std::string_view kind);

}  // namespace lab
