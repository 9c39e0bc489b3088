// The standard descriptors 0, 1 and 2 are open before anything else is.
//
// A program that is started without one of them would give its number to whatever it opens first:
// the bridge's lines would go into a socket of its own, and its input would never end. What is
// missing is opened here as /dev/null, an input at its end and an output without a reader.
//
// To link this file is all that a program has to do. On Linux it runs before the first function of
// any library, so that nothing that a library opens at its start can take the numbers either; on
// macOS after the libraries' own.
#include <fcntl.h>

#include <cstdlib>

namespace {

void openStandardDescriptors() {
  for (int descriptor = 0; descriptor <= 2; ++descriptor) {
    if (::fcntl(descriptor, F_GETFD) >= 0) continue;
    // The lowest number that is free, which is this one.
    if (::open("/dev/null", O_RDWR) != descriptor) std::abort();
  }
}

#ifdef __APPLE__
[[gnu::constructor]] void openAtStart() {
  openStandardDescriptors();
}
#else
[[gnu::section(".preinit_array"),
  gnu::used]] void (*const kOpenAtStart)() = openStandardDescriptors;
#endif

}  // namespace
