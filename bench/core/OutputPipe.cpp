#include "OutputPipe.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>

namespace {
constexpr int kRoom = 1 << 20;  // bytes: the largest pipe that an ordinary user gets
}

OutputPipe::OutputPipe() : original_(dup(STDOUT_FILENO)), buffer_(kRoom) {
  int ends[2];
  if (pipe(ends) != 0 || fcntl(ends[1], F_SETPIPE_SZ, kRoom) < 0) std::abort();
  dup2(ends[1], STDOUT_FILENO);
  close(ends[1]);
  readingEnd_ = ends[0];
}

OutputPipe::~OutputPipe() {
  dup2(original_, STDOUT_FILENO);
  close(original_);
  close(readingEnd_);
}

std::string OutputPipe::take() {
  const auto taken = read(readingEnd_, buffer_.data(), buffer_.size());
  if (taken <= 0) std::abort();
  return {buffer_.data(), static_cast<std::size_t>(taken)};
}
