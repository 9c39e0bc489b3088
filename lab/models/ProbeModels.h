// The two probes, Ilo and Tenoval: a measurement stream and a battery level.
#pragma once

#include "lab/models/BenchDevice.h"

namespace lab {

// An Ilo: little-endian records of 13 bytes that contain the battery level.
class IloModel : public BenchDevice {
 public:
  explicit IloModel(std::string name = "ILO-1");

  // Record number sequence: the number's low 16 bits in bytes 0 and 1 and all of it in bytes 4 to
  // 7, the measured value in bytes 2 and 3, the battery level in byte 12.
  static Bytes record(std::uint32_t sequence, std::uint8_t battery);

 private:
  Bytes sample(Id stream, std::uint32_t sequence) override;
  // "battery N": the battery level of the records from now on.
  bool controlled(std::string_view verb, std::string_view argument) override;

  std::uint8_t battery_ = 80;
};

// A Tenoval: big-endian records of 4 bytes, and the standard battery service.
class TenovalModel : public BenchDevice {
 public:
  explicit TenovalModel(std::string name = "Tenoval-1");

  // Record number sequence: the number's low 16 bits, then a second measured value.
  static Bytes record(std::uint32_t sequence);

 private:
  Bytes sample(Id stream, std::uint32_t sequence) override;
};

}  // namespace lab
