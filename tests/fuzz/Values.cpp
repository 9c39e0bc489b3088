// Values of every characteristic of every handler.
#include "tests/fuzz/Fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  return fuzz::play(subject::playValues, bytes, size);
}
