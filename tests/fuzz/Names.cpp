// Names of devices: lower case, prefixes, and the log lines that contain them.
#include "tests/fuzz/Fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  return fuzz::play(subject::playNames, bytes, size);
}
