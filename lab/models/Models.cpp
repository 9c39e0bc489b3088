#include "lab/models/Models.h"

#include <array>

#include "lab/models/CorveltaModel.h"
#include "lab/models/FenwixModel.h"
#include "lab/models/ProbeModels.h"
#include "lab/models/TramselModel.h"

namespace lab {

std::span<const std::string_view> deviceKinds() {
  static constexpr std::array<std::string_view, 5> kKinds{"tramsel", "ilo", "tenoval", "corvelta",
                                                          "fenwix"};
  return kKinds;
}

std::unique_ptr<BenchDevice> makeDevice(std::string_view kind) {
  if (kind == "tramsel") return std::make_unique<TramselModel>();
  if (kind == "ilo") return std::make_unique<IloModel>();
  if (kind == "tenoval") return std::make_unique<TenovalModel>();
  if (kind == "corvelta") return std::make_unique<CorveltaModel>();
  if (kind == "fenwix") return std::make_unique<FenwixModel>();
  return nullptr;
}

}  // namespace lab
