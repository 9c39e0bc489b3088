// The standard streams in memory. The C library's `stdout` and `stdin` are replaced, so the code
// under test writes and reads as always.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace subject {

// While one exists, standard output goes into the given list: one entry per write to the operating
// system. One at a time.
class CapturedOutput {
 public:
  explicit CapturedOutput(std::vector<std::string>& writes);
  CapturedOutput(const CapturedOutput&) = delete;
  CapturedOutput& operator=(const CapturedOutput&) = delete;
  ~CapturedOutput();
};

// While one exists, standard input has these bytes and then ends. The bytes outlive it. One at a
// time. Its destructor frees the line buffer of the code under test, whose "process" has ended.
class GivenInput {
 public:
  explicit GivenInput(std::string_view bytes);
  GivenInput(const GivenInput&) = delete;
  GivenInput& operator=(const GivenInput&) = delete;
  ~GivenInput();

 private:
  std::string_view rest_;
};

}  // namespace subject
