// Splits what arrives at a descriptor into lines.
#pragma once

#include <string>
#include <vector>

namespace lab {

class LineReader {
 public:
  explicit LineReader(int fileDescriptor) : fileDescriptor_(fileDescriptor) {}

  // read() would not wait.
  bool isReady() const;

  // Reads once and returns the lines that are now complete, without their line ends.
  std::vector<std::string> read();

  bool isAtEnd() const { return isAtEnd_; }

 private:
  int fileDescriptor_;
  std::string pending_;
  bool isAtEnd_ = false;
};

}  // namespace lab
