// All callbacks of the platform and all commands of the host, in any order.
#include "tests/fuzz/Fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  return fuzz::play(subject::playCallbacks, bytes, size);
}
