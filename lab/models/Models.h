// The device models, by kind.
#pragma once

#include <array>
#include <memory>
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

template <class Model>
std::unique_ptr<BenchDevice> makeModel() {
  return std::make_unique<Model>();
}

// Each in the file of its model.
extern const DeviceKind tramselKind;
extern const DeviceKind iloKind;
extern const DeviceKind tenovalKind;
extern const DeviceKind corveltaKind;
extern const DeviceKind fenwixKind;

inline constexpr const DeviceKind* kDeviceKinds[] = {&tramselKind, &iloKind, &tenovalKind,
                                                     &corveltaKind, &fenwixKind};

// The help text with the names of all kinds in place of %KINDS%.
std::string withKinds(std::string help);

// A device of that kind with its usual name; null for an unknown kind.
std::unique_ptr<BenchDevice> makeDevice(std::string_view kind);

}  // namespace lab
