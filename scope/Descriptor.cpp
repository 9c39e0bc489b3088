#include "scope/Descriptor.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

namespace scope {
namespace {

// Some hosts leave their pipes such that they do not block: waits where a call would have.
void waitFor(int descriptor, short event) {
  pollfd one{descriptor, event, 0};
  ::poll(&one, 1, -1);
}

}  // namespace

void Descriptor::close() {
  if (number_ >= 0) ::close(number_);
  number_ = -1;
}

Pipe makePipe() {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
    throw std::system_error(errno, std::generic_category(), "pipe2");
  }
  return {Descriptor(ends[0]), Descriptor(ends[1])};
}

std::size_t readSome(int descriptor, std::span<char> room) {
  for (;;) {
    const ssize_t count = ::read(descriptor, room.data(), room.size());
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno == EAGAIN) {
      waitFor(descriptor, POLLIN);
    } else if (errno != EINTR) {
      return 0;
    }
  }
}

bool writeAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
    if (count >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno == EAGAIN) {
      waitFor(descriptor, POLLOUT);
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

bool isReadable(int descriptor, int milliseconds) {
  pollfd one{descriptor, POLLIN, 0};
  return ::poll(&one, 1, milliseconds) > 0;
}

}  // namespace scope
