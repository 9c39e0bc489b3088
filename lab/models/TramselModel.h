// A Tramsel: nine signed motion values per notification, and a battery level.
#pragma once

#include "lab/models/BenchDevice.h"

namespace lab {

class TramselModel : public BenchDevice {
 public:
  explicit TramselModel(std::string name = "Tramsel-1");

  // Notification number sequence, 18 bytes, nine little-endian values: the first two are the
  // number's low and high 16 bits, the others grow with it and wrap around in 16 bits.
  static Bytes motion(std::uint32_t sequence);

 private:
  Bytes sample(Id stream, std::uint32_t sequence) override;
};

}  // namespace lab
