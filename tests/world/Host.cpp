#include "tests/world/Host.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

#include "tests/world/Wrong.h"

namespace world {

namespace {

constexpr std::size_t kCapacity = 4096;  // of the pipe, in bytes: the least that there is

}  // namespace

Host::~Host() {
  forget();
}

void Host::connect() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) throw std::runtime_error("no pipe");
  fcntl(ends[1], F_SETPIPE_SZ, static_cast<int>(kCapacity));
  dup2(ends[1], STDOUT_FILENO);
  close(ends[1]);
  forget();
  input_ = ends[0];
  output_ = std::make_unique<Output>(stdout);
}

void Host::forget() {
  if (input_ >= 0) close(std::exchange(input_, -1));
  unread_.clear();
}

void Host::read() {
  if (!unread_.empty()) readAll();
}

void Host::readAll() {
  while (!isStalled && readPipe()) {
  }
}

void Host::fillPipe(std::size_t room) {
  if (input_ < 0 || output_->holdsBack()) return;
  const std::string others(kCapacity - std::min(kCapacity, unread_.size() + room), ' ');
  const ssize_t count = ::write(STDOUT_FILENO, others.data(), others.size());
  if (count > 0) unread_.append(others, 0, static_cast<std::size_t>(count));
}

bool Host::readPipe() {
  if (input_ < 0) return false;
  std::array<char, kCapacity> bytes{};
  const ssize_t count = ::read(input_, bytes.data(), bytes.size());
  if (count <= 0) return false;
  const std::string_view read(bytes.data(), static_cast<std::size_t>(count));
  if (!unread_.starts_with(read)) throw Wrong("the host reads something else");
  unread_.erase(0, read.size());
  return true;
}

void Host::letAllOut() {
  while (!isStalled && output_->holdsBack()) {
    read();
    output_->letOut();
  }
  readAll();
}

}  // namespace world
