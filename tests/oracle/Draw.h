// Random values, with edge cases drawn often.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace oracle {

// The settings of the command line.
struct Run {
  std::uint64_t values = 20000;
  std::uint64_t seed = 0;
};
Run& theRun();

class Draw {
 public:
  explicit Draw(std::uint64_t seed) : generator_(seed) {}

  std::size_t below(std::size_t bound) { return static_cast<std::size_t>(generator_() % bound); }
  bool oneIn(std::size_t count) { return below(count) == 0; }
  std::uint8_t byte();

  // Mostly the length that a decoder needs, or one near it; else any up to 512.
  std::size_t length(std::size_t needed);

  std::vector<std::uint8_t> bytes(std::size_t count);

  // A little-endian binary32, often near a bound, and sometimes cut or followed by more bytes.
  std::vector<std::uint8_t> level();

  // UTF-8 with mistakes in it.
  std::vector<std::uint8_t> text(std::size_t count);

  // One reply of the Fenwix command channel with a JSON text, mostly whole.
  std::vector<std::uint8_t> reply();

 private:
  std::mt19937_64 generator_;
};

}  // namespace oracle
