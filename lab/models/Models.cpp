#include "lab/models/Models.h"

#include <algorithm>

#include "lab/models/CorveltaModel.h"
#include "lab/models/FenwixModel.h"
#include "lab/models/ProbeModels.h"
#include "lab/models/TramselModel.h"

namespace lab {
namespace {

template <class Model>
std::unique_ptr<BenchDevice> make() {
  return std::make_unique<Model>();
}

constexpr DeviceKind kKinds[] = {
    {"tramsel", {"Tramsel-1", "DORVANE 2", "tramsel", "Tramsel-77"}, make<TramselModel>},
    {"ilo", {"Ilo-1", "ILO-3", "ilo", "Ilo 9"}, make<IloModel>},
    {"tenoval", {"Tenoval-1", "Pelko-2", "pelk0", "KVALTRIN"}, make<TenovalModel>},
    {"corvelta", {"Tarvix-1", "TARVIX", "tarvix 2", "Tarvix"}, make<CorveltaModel>},
    {"fenwix", {"Nomsuel-1", "NOMSUEL 2", "nomsuel", "Nomsuel-9"}, make<FenwixModel>},
};

}  // namespace

std::span<const DeviceKind> deviceKinds() {
  return kKinds;
}

std::string withKinds(std::string help) {
  constexpr std::string_view kPlace = "%KINDS%";
  std::string list;
  for (const DeviceKind& kind : kKinds) {
    if (!list.empty()) list += ", ";
    list += kind.name;
  }
  const std::size_t place = help.find(kPlace);
  return place == std::string::npos ? help : help.replace(place, kPlace.size(), list);
}

std::unique_ptr<BenchDevice> makeDevice(std::string_view kind) {
  const auto found = std::ranges::find(kKinds, kind, &DeviceKind::name);
  return found == std::end(kKinds) ? nullptr : found->make();
}

}  // namespace lab
