#include "lab/models/Models.h"

#include <algorithm>
#include <iterator>

namespace lab {

std::string withKinds(std::string help) {
  constexpr std::string_view kPlace = "%KINDS%";
  std::string list;
  for (const DeviceKind* kind : kDeviceKinds) {
    if (!list.empty()) list += ", ";
    list += kind->name;
  }
  const std::size_t place = help.find(kPlace);
  return place == std::string::npos ? help : help.replace(place, kPlace.size(), list);
}

std::unique_ptr<BenchDevice> makeDevice(std::string_view kind) {
  const auto* const found = std::ranges::find(kDeviceKinds, kind, &DeviceKind::name);
  return found == std::end(kDeviceKinds) ? nullptr : (*found)->make();
}

}  // namespace lab
