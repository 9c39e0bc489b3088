// Numbers that look random and are the same for the same seed on any machine (splitmix64).
#pragma once

#include <cstddef>
#include <cstdint>

#include "lab/DeviceModel.h"

namespace lab {

class Dice {
 public:
  explicit Dice(std::uint64_t seed) : state_(seed) {}

  std::uint64_t next() {
    state_ += 0x9E3779B97F4A7C15U;
    std::uint64_t mixed = state_;
    mixed = (mixed ^ mixed >> 30) * 0xBF58476D1CE4E5B9U;
    mixed = (mixed ^ mixed >> 27) * 0x94D049BB133111EBU;
    return mixed ^ mixed >> 31;
  }

  // From 0 to one less than the bound.
  std::size_t below(std::size_t bound) { return static_cast<std::size_t>(next() % bound); }
  bool oneIn(std::size_t count) { return below(count) == 0; }
  Microseconds between(Microseconds least, Microseconds most) {
    return least + Microseconds(static_cast<std::int64_t>(
                       below(static_cast<std::size_t>((most - least).count()) + 1)));
  }

 private:
  std::uint64_t state_;
};

}  // namespace lab
