// A program under measurement, or one that helps with it: what it has used, and its output with the
// times at which it came.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "Stamp.h"
#include "support/spawn.h"

namespace bench {

using Nanoseconds = std::chrono::nanoseconds;

// Processor time of all threads that a process has now.
Nanoseconds cpuTime(pid_t process);

// What is mapped from now on is there at once. The first touch of a huge page would hold a reader
// up for some 7 ms, and all values of that time would seem late.
void holdMemory();

// Memory that a process has resident now, in KiB. Counted page by page: the kernel's running
// totals, and the peak with them, may lag by megabytes.
long residentMemory(pid_t process);

// Bytes from a pipe. Reading only keeps them, so that it costs the programs beside it little.
class Output {
 public:
  struct Line {
    std::string_view text;  // without its end
    Clock::time_point arrived;
  };

  explicit Output(support::Descriptor pipe);

  int descriptor() const { return pipe_.number(); }
  bool isOpen() const { return pipe_.isOpen(); }
  void readOnce();  // poll has found something

  std::size_t size() const { return bytes_.size(); }
  // The whole lines from this byte on. Valid until more is read.
  std::vector<Line> linesFrom(std::size_t begin) const;

 private:
  struct Arrival {
    std::size_t end;  // of the bytes that had come by then
    Clock::time_point time;
  };

  support::Descriptor pipe_;
  std::string bytes_;
  std::vector<Arrival> arrivals_;
};

class Process {
 public:
  // command: the program's path and its arguments. Throws std::system_error.
  explicit Process(const std::vector<std::string>& command);
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
  ~Process();  // asks it to end (SIGTERM) and waits for it

  pid_t id() const { return child_.id; }
  void writeLine(const std::string& text) const;

  Output& output() { return output_; }
  std::string errors() const;  // what it wrote to standard error so far

 private:
  support::Child child_;
  Output output_;
};

}  // namespace bench
