// The standard streams, held in memory. What changes hands is the C library's own `stdout` and
// `stdin`: the code under test writes and reads as it always does.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace subject {

// While one lives, standard output goes into the given list: one entry per write that would have
// reached the operating system. One at a time.
class CapturedOutput {
 public:
  explicit CapturedOutput(std::vector<std::string>& writes);
  CapturedOutput(const CapturedOutput&) = delete;
  CapturedOutput& operator=(const CapturedOutput&) = delete;
  ~CapturedOutput();
};

// While one lives, standard input has these bytes and then ends. The bytes outlive it. One at a
// time. The line buffers that the code under test leaves behind when its process "ends" go with it.
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
