// Notifications of the Fenwix command channel: the reassembly of its replies.
#include "tests/fuzz/Fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  return fuzz::play(subject::playReplies, bytes, size);
}
