// A platform::Output for tests: it holds back while the given pipe is full.
#pragma once

#include <poll.h>

#include "platform/Platform.h"

namespace support {

class PipeOutput final : public platform::Output {
 public:
  // The writing end.
  explicit PipeOutput(int end) : end_(end) {}

  bool holdsBack() const override {
    pollfd output{end_, POLLOUT, 0};
    return ::poll(&output, 1, 0) == 0;
  }
  void letOut() override {}
  int descriptor() const override { return end_; }

 private:
  int end_;
};

}  // namespace support
