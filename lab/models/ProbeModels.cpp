#include "lab/models/ProbeModels.h"

#include "lab/Text.h"
#include "lab/models/Models.h"
#include "lab/models/Wire.h"

namespace lab {
namespace {

constexpr double kUsualRate = 5;
constexpr std::uint8_t kUsualBattery = 90;

}  // namespace

IloModel::IloModel(std::string name) : BenchDevice(std::move(name)) {
  addService("85538AF7-9604-4F46-A933-C9E7A9E05748");
  addStream({.uuid = "23BCDD50-00AC-446D-92B9-07AB6E436AD8", .notify = true}, kUsualRate);
}

Bytes IloModel::record(std::uint32_t sequence, std::uint8_t battery) {
  Bytes value;
  wire::appendLittle(value, sequence, 2);
  wire::appendLittle(value, sequence * 257 + 1000, 2);
  wire::appendLittle(value, sequence, 4);
  wire::appendLittle(value, 0, 4);
  value.push_back(battery);
  return value;
}

Bytes IloModel::sample(Id, std::uint32_t sequence) {
  return record(sequence, battery_);
}

bool IloModel::controlled(std::string_view verb, std::string_view argument) {
  const std::optional<std::uint32_t> level = toNumber(argument);
  if (verb != "battery" || !level || *level > 0xFF) return false;
  battery_ = static_cast<std::uint8_t>(*level);
  return true;
}

TenovalModel::TenovalModel(std::string name) : BenchDevice(std::move(name)) {
  addService("AA40");
  addStream({.uuid = "AA41", .notify = true}, kUsualRate);
  addService("180F");
  addCharacteristic({.uuid = "2A19", .read = true, .notify = true}, {kUsualBattery});
}

Bytes TenovalModel::record(std::uint32_t sequence) {
  Bytes value;
  wire::appendBig(value, sequence, 2);
  wire::appendBig(value, sequence * 509 + 10, 2);
  return value;
}

Bytes TenovalModel::sample(Id, std::uint32_t sequence) {
  return record(sequence);
}

constinit const DeviceKind iloKind{"ilo", {"Ilo-1", "ILO-3", "ilo", "Ilo 9"}, makeModel<IloModel>};

constinit const DeviceKind tenovalKind{
    "tenoval", {"Tenoval-1", "Pelko-2", "pelk0", "KVALTRIN"}, makeModel<TenovalModel>};

}  // namespace lab
