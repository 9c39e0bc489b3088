// A library that opens a file when it is loaded, and keeps it open under each of the three lowest
// descriptor numbers that is free.
#include <fcntl.h>

namespace {

[[gnu::constructor]] void openAtStart() {
  for (int i = 0; i < 3; ++i) {
    static_cast<void>(::open(VORNIX_OPENED_AT_START, O_RDWR | O_CREAT | O_APPEND, 0600));
  }
}

}  // namespace
