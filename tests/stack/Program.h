// A program that a test needs beside the bridge: a daemon, a device. Its output goes to a log file.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "support/BridgeProcess.h"
#include "support/Descriptor.h"

namespace stack {

using Limit = std::chrono::milliseconds;
using support::patience;

class Program {
 public:
  // command: the program's path and its arguments. The log is appended to.
  Program(const std::vector<std::string>& command, const std::filesystem::path& log);
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;
  ~Program();  // kills it and waits for its end

  void writeLine(std::string_view text) const;
  void sendSignal(int number) const;

  // False when it still runs at the limit.
  bool waitForEnd(Limit limit = patience);

 private:
  pid_t id_ = -1;
  bool ended_ = false;
  support::Descriptor input_;
};

}  // namespace stack
