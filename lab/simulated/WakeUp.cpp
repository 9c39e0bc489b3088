#include "lab/simulated/WakeUp.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>

namespace platform::simulated {

WakeUp::WakeUp() {
  if (::pipe(pipe_) != 0) std::abort();  // no descriptors left
  for (const int end : pipe_) ::fcntl(end, F_SETFL, O_NONBLOCK);
}

WakeUp::~WakeUp() {
  for (const int end : pipe_) ::close(end);
}

void WakeUp::ring() {
  const char byte = 0;
  static_cast<void>(!::write(pipe_[1], &byte, 1));  // a full pipe is readable as well
}

void WakeUp::takeBack() {
  char bytes[64];
  while (::read(pipe_[0], bytes, sizeof(bytes)) > 0) {
  }
}

}  // namespace platform::simulated
