// A Corvelta: mains power, firmware text and battery; calibration on order; contraction records
// between the orders to start and to stop the acquisition.
#pragma once

#include "lab/models/BenchDevice.h"

namespace lab {

class CorveltaModel : public BenchDevice {
 public:
  explicit CorveltaModel(std::string name = "Tarvix-1");

  // The contraction record with this number, 6 bytes: its low 24 bits, then a 16-bit and an 8-bit
  // value, all little-endian.
  static Bytes contraction(std::uint32_t sequence);

 private:
  Bytes sample(Id stream, std::uint32_t sequence) override;
  // The orders: one byte, 1 starts and 0 stops; anything else is refused. The end of a calibration
  // brings a new calibration value, numbered from 1, or an error code: of the fault, or 1 when no
  // calibration was under way.
  AttError written(Id id, std::span<const std::uint8_t> value) override;
  // mains N, calibration N, calibration-error N: reported as if it had just happened.
  bool controlled(std::string_view verb, std::string_view argument) override;
  // calibration-error=N: calibrations end with this code.
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
