// A pipe that can be filled until it accepts nothing, as with a host that does not read.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

namespace bluez_tests {

class FullPipe {
 public:
  FullPipe() {
    if (pipe2(ends_.data(), O_CLOEXEC | O_NONBLOCK) != 0) throw std::runtime_error("no pipe");
  }
  FullPipe(const FullPipe&) = delete;
  FullPipe& operator=(const FullPipe&) = delete;
  ~FullPipe() {
    close(ends_[0]);
    close(ends_[1]);
  }

  int input() const { return ends_[1]; }

  void fill() const {
    constexpr std::array<char, 4096> kPage{};
    while (write(ends_[1], kPage.data(), kPage.size()) > 0) {
    }
  }
  void drain() const {
    std::array<char, 4096> page;
    while (read(ends_[0], page.data(), page.size()) > 0) {
    }
  }

 private:
  std::array<int, 2> ends_{};
};

}  // namespace bluez_tests
