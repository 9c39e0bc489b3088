#include "lab/models/TramselModel.h"

#include "lab/models/Models.h"
#include "lab/models/Wire.h"

namespace lab {
namespace {

constexpr double kUsualRate = 25;
constexpr std::uint8_t kUsualBattery = 92;

}  // namespace

TramselModel::TramselModel(std::string name) : BenchDevice(std::move(name)) {
  addService("EF680400-9B35-4933-9B10-52FFA9740042");
  addStream({.uuid = "EF680408-9B35-4933-9B10-52FFA9740042", .notify = true}, kUsualRate);
  addService("180F");
  addCharacteristic({.uuid = "2A19", .read = true, .notify = true}, {kUsualBattery});
}

Bytes TramselModel::motion(std::uint32_t sequence) {
  Bytes value;
  wire::appendLittle(value, sequence, 4);
  for (std::uint32_t axis = 2; axis < 9; ++axis) {
    wire::appendLittle(value, sequence * (axis * 2003) + axis * 4099, 2);
  }
  return value;
}

Bytes TramselModel::sample(Id, std::uint32_t sequence) {
  return motion(sequence);
}

constinit const DeviceKind tramselKind{
    "tramsel", {"Tramsel-1", "DORVANE 2", "tramsel", "Tramsel-77"}, makeModel<TramselModel>};

}  // namespace lab
