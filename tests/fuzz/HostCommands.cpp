// The host's input, read by the reader thread's own loop.
#include "tests/fuzz/Fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  return fuzz::play(subject::playCommands, bytes, size);
}
