// A Tramsel: nine signed motion values per notification, and a battery.
#pragma once

#include "lab/models/BenchDevice.h"

namespace lab {

class TramselModel : public BenchDevice {
 public:
  explicit TramselModel(std::string name = "Tramsel-1");

  // The motion value with this number, 18 bytes: values 1 and 2 are its low and its high 16 bits,
  // the others swing with it over the whole signed range.
  static Bytes motion(std::uint32_t sequence);

 private:
  Bytes sample(Id stream, std::uint32_t sequence) override;
};

}  // namespace lab
