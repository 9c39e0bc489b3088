// A Corvelta: mains power, firmware version and battery level; calibration on command; contraction
// records between the commands that start and stop the acquisition.
#pragma once

#include "lab/models/BenchDevice.h"

namespace lab {

class CorveltaModel : public BenchDevice {
 public:
  explicit CorveltaModel(std::string name = "Tarvix-1");

  // Contraction record number sequence, 6 bytes: the low 24 bits of the number, then a 16-bit and
  // an 8-bit value, all little-endian.
  static Bytes contraction(std::uint32_t sequence);

 private:
  Bytes sample(Id stream, std::uint32_t sequence) override;
  // Calibration and acquisition: one byte, 1 starts and 0 stops; anything else is refused. Forced
  // sleep: any one byte, without effect. When a calibration is stopped, the device notifies a new
  // calibration value, numbered from 1, or an error code: that of the fault, or 1 when no
  // calibration was running.
  AttError written(Id id, std::span<const std::uint8_t> value) override;
  // "mains N", "calibration N", "calibration-error N": notified as if it had just happened.
  bool controlled(std::string_view verb, std::string_view argument) override;
  // "calibration-error=N": calibrations end with this error code.
  bool setFault(std::string_view name, std::string_view argument) override;
  void clearFaults() override { calibrationFault_.reset(); }

  void endCalibration();

  Id mains_;
  Id calibrationOrder_;
  Id newCalibration_;
  Id calibrationError_;
  Id acquisitionOrder_;
  Id contractions_;
  Id forcedSleep_;
  bool isCalibrating_ = false;
  std::uint8_t calibrations_ = 0;
  std::optional<std::uint8_t> calibrationFault_;
};

}  // namespace lab
