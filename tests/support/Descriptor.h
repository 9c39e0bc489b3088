// A file descriptor and its owner.
#pragma once

#include <unistd.h>

#include <utility>

namespace support {

class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Descriptor() { close(); }

  int number() const { return number_; }  // -1 when closed
  bool isOpen() const { return number_ >= 0; }

  void close() {
    if (isOpen()) ::close(std::exchange(number_, -1));
  }

 private:
  int number_ = -1;
};

}  // namespace support
