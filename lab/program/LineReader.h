// Whole lines from a descriptor, as far as they have come in.
#pragma once

#include <string>
#include <vector>

namespace lab {

class LineReader {
 public:
  explicit LineReader(int fileDescriptor) : fileDescriptor_(fileDescriptor) {}

  // read() would not wait.
  bool isReady() const;

  // Reads what is there, once, and gives the lines completed by it, without their ends.
  std::vector<std::string> read();

  bool isAtEnd() const { return isAtEnd_; }

 private:
  int fileDescriptor_;
  std::string pending_;
  bool isAtEnd_ = false;
};

}  // namespace lab
