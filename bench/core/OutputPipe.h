// Standard output as a pipe that holds a batch of lines without a reader, so that only the writing
// is measured. Replaces descriptor 1 while it exists.
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

  // Empties the pipe and returns what it held, at most 1 MiB.
  std::string take();

 private:
  int original_;
  int readingEnd_;
  std::vector<char> buffer_;
};
