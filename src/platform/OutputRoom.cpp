#include "platform/OutputRoom.h"

#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <limits>

namespace platform {

namespace {

constexpr std::size_t kUnlimited = std::numeric_limits<std::size_t>::max();

bool accepts(int descriptor) {
  pollfd output{descriptor, POLLOUT, 0};
  return ::poll(&output, 1, 0) != 0;
}

// A socket that accepts output has three quarters of its buffer free. One write takes at most twice
// its bytes of the buffer; each of many small ones would take far more.
std::size_t roomOfSocket(int descriptor) {
  int size = 0;
  socklen_t length = sizeof(size);
  if (::getsockopt(descriptor, SOL_SOCKET, SO_SNDBUF, &size, &length) != 0) return PIPE_BUF;
  return std::max(static_cast<std::size_t>(size) / 4, std::size_t{1024});
}

// The capacity in bytes, a number of whole pages; 0 where the system cannot tell.
std::size_t capacityOfPipe([[maybe_unused]] int descriptor) {
#ifdef F_GETPIPE_SZ
  return static_cast<std::size_t>(std::max(::fcntl(descriptor, F_GETPIPE_SZ), 0));
#else
  return 0;
#endif
}

// The number of bytes that the reader has not read yet.
std::size_t heldByPipe(int descriptor) {
  int held = 0;
  return ::ioctl(descriptor, FIONREAD, &held) == 0 ? static_cast<std::size_t>(held) : kUnlimited;
}

// Whether each write to the pipe takes pages of its own (O_DIRECT).
bool keepsWritesApart([[maybe_unused]] int descriptor) {
#ifdef O_DIRECT
  return (::fcntl(descriptor, F_GETFL) & O_DIRECT) != 0;
#else
  return false;
#endif
}

}  // namespace

// On Linux a pipe is a row of pages. A write continues in the last page if its bytes beyond whole
// pages fit there; otherwise it begins a new one, and the rest of the last page stays empty. A page
// is free only once it is read completely. So the number of bytes says little about that of pages,
// but:
//
// - A pipe that accepts output has a free page, and any number of writes of PIPE_BUF bytes together
//   (at most a page) fit: once they have begun the new page, the others fit behind them.
// - Two pages in a row hold more than one page's bytes together, the first excepted, of which some
//   may have been read. So what a pipe holds takes at most twice as many pages as its bytes would
//   fill, and two more; of an empty one, half the capacity fits in any case.
// - An empty pipe has all its pages free, and one write may fill them.
//
// POSIX promises the first for every system: what accepts output takes PIPE_BUF bytes at once.
void OutputRoom::ask(int descriptor, std::size_t wanted) {
  left_ = 0;
  isForOneWrite_ = true;
  struct stat status {};
  if (descriptor < 0 || ::fstat(descriptor, &status) != 0 || S_ISREG(status.st_mode)) {
    left_ = kUnlimited;
    return;
  }
  if (S_ISFIFO(status.st_mode)) return askPipe(descriptor, wanted);
  if (!accepts(descriptor)) return;
  left_ = S_ISSOCK(status.st_mode) ? roomOfSocket(descriptor) : PIPE_BUF;
}

// Polls the pipe only if the bytes do not decide: once a pipe has been polled, Linux checks at
// every write whether somebody waits for it, which makes each write a tenth slower.
void OutputRoom::askPipe(int descriptor, std::size_t wanted) {
  const std::size_t capacity = capacityOfPipe(descriptor);
  const std::size_t held = heldByPipe(descriptor);
  const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
  isForOneWrite_ = keepsWritesApart(descriptor);
  if (capacity > 0 && held == 0) {
    left_ = std::max<std::size_t>(capacity / 2, PIPE_BUF);
    if (wanted <= left_ || capacity <= left_) return;
    left_ = capacity;
    isForOneWrite_ = true;
  } else if (!isForOneWrite_ && held < kUnlimited && held + page + wanted <= capacity / 2) {
    left_ = capacity / 2 - page - held;
  } else if (accepts(descriptor)) {
    left_ = PIPE_BUF;
  }
}

}  // namespace platform
