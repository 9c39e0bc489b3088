#include "tests/world/Host.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

#include "tests/world/Wrong.h"

namespace world {

Host::~Host() {
  if (input_ >= 0) close(input_);
}

void Host::connect() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) throw std::runtime_error("no pipe");
  fcntl(ends[1], F_SETPIPE_SZ, 4096);
  dup2(ends[1], STDOUT_FILENO);
  close(ends[1]);
  if (input_ >= 0) close(input_);
  input_ = ends[0];
  output_ = std::make_unique<Output>(stdout);
  unread_.clear();
}

void Host::read() {
  if (!unread_.empty()) readAll();
}

void Host::readAll() {
  if (isStalled || input_ < 0) return;
  std::array<char, 4096> bytes{};
  for (ssize_t size = 0; (size = ::read(input_, bytes.data(), bytes.size())) > 0;) {
    const std::string_view read(bytes.data(), static_cast<std::size_t>(size));
    if (!unread_.starts_with(read)) throw Wrong("the host reads something else");
    unread_.erase(0, read.size());
  }
}

void Host::letAllOut() {
  while (!isStalled && output_->holdsBack()) {
    read();
    output_->letOut();
  }
  readAll();
}

}  // namespace world
