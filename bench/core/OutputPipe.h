// Standard output as a pipe that takes a batch of lines without a reader beside it, so that only
// the writing side is measured. While it lives, it stands in for descriptor 1.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

class OutputPipe {
 public:
  OutputPipe();
  ~OutputPipe();
  OutputPipe(const OutputPipe&) = delete;
  OutputPipe& operator=(const OutputPipe&) = delete;

  // What is in the pipe now, at most 1 MiB.
  std::string take();

 private:
  int original_;
  int readingEnd_;
  std::vector<char> buffer_;
};
