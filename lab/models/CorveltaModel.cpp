#include "lab/models/CorveltaModel.h"

#include "lab/Text.h"
#include "lab/models/Models.h"
#include "lab/models/Wire.h"

namespace lab {
namespace {

constexpr double kUsualRate = 2;
constexpr std::uint8_t kUsualBattery = 87;
constexpr std::uint8_t kStop = 0;
constexpr std::uint8_t kStart = 1;
constexpr std::uint8_t kNoCalibrationUnderWay = 1;

const Bytes kFirmware{'2', '.', '1', '.', '4'};

std::optional<std::uint8_t> toByte(std::string_view text) {
  const std::optional<std::uint32_t> number = toNumber(text);
  if (!number || *number > 0xFF) return std::nullopt;
  return static_cast<std::uint8_t>(*number);
}

}  // namespace

CorveltaModel::CorveltaModel(std::string name) : BenchDevice(std::move(name)) {
  addService("89E6B9FD-F08F-4B6C-93E6-49A24BA04200");
  addCharacteristic({.uuid = "36410EC0-A40F-49AF-AA74-27B875BA8751", .read = true}, kFirmware);
  mains_ = addCharacteristic(
      {.uuid = "D35386E6-0B1E-453B-963E-9E1F2B527FE7", .read = true, .notify = true}, {0});
  forcedSleep_ = addCharacteristic({.uuid = "00428317-9AE7-49D7-ADF5-8E295880ACE8", .write = true});
  addService("A4459812-7361-4607-95E1-E58B2FC953D9");
  calibrationOrder_ =
      addCharacteristic({.uuid = "0860AC22-B172-468E-9755-03A53F3C7E40", .write = true});
  newCalibration_ =
      addCharacteristic({.uuid = "FE5EB478-CC3B-4EF0-B33C-B674B32E0C41", .notify = true});
  calibrationError_ =
      addCharacteristic({.uuid = "60583850-163A-4C00-A0DC-2DFDD223A716", .notify = true});
  addService("D72DCC05-7E84-464D-91A6-B8CC7FE47B2A");
  acquisitionOrder_ =
      addCharacteristic({.uuid = "5B4153A2-3F1C-4DC4-872E-E43265446878", .write = true});
  contractions_ =
      addStream({.uuid = "5D63AFC1-16D0-4C47-BDB8-39DE23DAF30A", .notify = true}, kUsualRate);
  gate(contractions_, false);
  addService("180F");
  addCharacteristic({.uuid = "2A19", .read = true, .notify = true}, {kUsualBattery});
}

Bytes CorveltaModel::contraction(std::uint32_t sequence) {
  Bytes value;
  wire::appendLittle(value, sequence, 3);
  wire::appendLittle(value, sequence * 1021 + 1284, 2);
  wire::appendLittle(value, sequence * 7 + 6, 1);
  return value;
}

Bytes CorveltaModel::sample(Id, std::uint32_t sequence) {
  return contraction(sequence);
}

AttError CorveltaModel::written(Id id, std::span<const std::uint8_t> value) {
  if (value.size() != 1) return AttError::invalidValueLength;
  if (id == forcedSleep_) return AttError::none;
  if (value[0] != kStart && value[0] != kStop) return AttError::unlikely;
  const bool isStart = value[0] == kStart;
  if (id == acquisitionOrder_) gate(contractions_, isStart);
  if (id != calibrationOrder_) return AttError::none;
  if (!isStart) endCalibration();
  isCalibrating_ = isStart;
  return AttError::none;
}

void CorveltaModel::endCalibration() {
  if (!isCalibrating_) {
    post(calibrationError_, {kNoCalibrationUnderWay});
  } else if (calibrationFault_) {
    post(calibrationError_, {*calibrationFault_});
  } else {
    post(newCalibration_, {++calibrations_});
  }
}

bool CorveltaModel::controlled(std::string_view verb, std::string_view argument) {
  const std::optional<std::uint8_t> number = toByte(argument);
  if (!number) return false;
  if (verb == "mains") {
    setValue(mains_, {*number});
  } else if (verb == "calibration") {
    post(newCalibration_, {*number});
  } else if (verb == "calibration-error") {
    post(calibrationError_, {*number});
  } else {
    return false;
  }
  return true;
}

bool CorveltaModel::setFault(std::string_view name, std::string_view argument) {
  if (name != "calibration-error") return false;
  calibrationFault_ = toByte(argument);
  return calibrationFault_.has_value();
}

constinit const DeviceKind corveltaKind{
    "corvelta", {"Tarvix-1", "TARVIX", "tarvix 2", "Tarvix"}, makeModel<CorveltaModel>};

}  // namespace lab
