// Owns a file descriptor, and the few ways in which the scope reads and writes one.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>
#include <utility>

namespace scope {

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

  int get() const { return number_; }
  bool isOpen() const { return number_ >= 0; }
  void close();

 private:
  int number_ = -1;
};

struct Pipe {
  Descriptor reading;
  Descriptor writing;
};

// Closed in programs that are started. Throws std::system_error.
Pipe makePipe();

// What there is, at least a byte, waiting for it; 0 at the end, and after an error, which here is
// the same: nothing more will come.
std::size_t readSome(int descriptor, std::span<char> room);

// All of it, waiting for room. False when nobody reads any more.
bool writeAll(int descriptor, std::string_view bytes);

// Whether there is something to read, or the end of it, within so many milliseconds.
bool isReadable(int descriptor, int milliseconds);

}  // namespace scope
