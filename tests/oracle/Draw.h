// Random values, drawn so that what lies at an edge comes often.
#pragma once

#include <cstdint>
#include <random>
#include <vector>

namespace oracle {

// What the command line asked for.
struct Run {
  std::uint64_t values = 20000;
  std::uint64_t seed = 0;
};
Run& theRun();

class Draw {
 public:
  explicit Draw(std::uint64_t seed) : generator_(seed) {}

  std::uint64_t below(std::uint64_t bound) { return generator_() % bound; }
  bool oneIn(std::uint64_t count) { return below(count) == 0; }
  std::uint8_t byte();

  // Around the length that a decoder needs, or any other that fits on the air.
  std::size_t length(std::size_t needed);

  std::vector<std::uint8_t> bytes(std::size_t count);

  // A binary32 as four bytes, near a bound as often as not, and what may follow it.
  std::vector<std::uint8_t> level();

  // UTF-8 with mistakes in it.
  std::vector<std::uint8_t> text(std::size_t count);

  // One reply of the Fenwix command channel with a JSON text, most often whole.
  std::vector<std::uint8_t> reply();

 private:
  std::mt19937_64 generator_;
};

}  // namespace oracle
