// A measured program, or one that helps to measure: its CPU time and memory, and its output with
// the times of arrival.
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

// The CPU time of all threads that a process has now.
Nanoseconds cpuTime(pid_t process);

// Makes the memory that this process maps from now on resident at once. The first access to a huge
// page would otherwise delay a reader by some 7 ms, and all values of that time would seem late.
void holdMemory();

// The resident memory of a process now, in KiB, counted page by page: the kernel's running total,
// and with it the peak, may lag by megabytes.
long residentMemory(pid_t process);

// Keeps the bytes of a pipe. Reading does nothing else, so as to take little from other programs.
class Output {
 public:
  struct Line {
    std::string_view text;  // without the line feed
    Clock::time_point arrived;
  };

  explicit Output(support::Descriptor pipe);

  int descriptor() const { return pipe_.number(); }
  bool isOpen() const { return pipe_.isOpen(); }
  void readOnce();  // poll has found something

  std::size_t size() const { return bytes_.size(); }
  // The complete lines from this byte on. Valid until more is read.
  std::vector<Line> linesFrom(std::size_t begin) const;

 private:
  struct Arrival {
    std::size_t end;  // the number of bytes that had come by then
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
