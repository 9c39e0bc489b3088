// Makes sure that the standard descriptors 0, 1 and 2 are open before any other.
//
// In a program that is started without one of them, the first file that it opens would get its
// number: the bridge's lines might go into one of its own sockets, and its input might never end.
// Missing ones are opened here as /dev/null.
//
// A program only has to link this file. On Linux it runs before the first function of any library,
// so that a file that a library opens at its start does not get such a number either; on macOS it
// runs after the libraries' own functions.
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
