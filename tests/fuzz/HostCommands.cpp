// Commands of the host, read by the loop of the reader thread.
#include "tests/fuzz/Fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  return fuzz::play(subject::playCommands, bytes, size);
}
