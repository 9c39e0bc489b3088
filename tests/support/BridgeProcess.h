// A bridge as its host sees it: a child process that takes commands on its standard input and
// writes lines to its standard output.
//
// Every wait has a time limit, given by the caller, and ends as soon as what it waits for is there.
// Meanwhile it reads the bridge's outputs, so that no pipe fills up. Failures of the operating
// system (no pipe, no process) are thrown as std::system_error.
//
// One thread uses a BridgeProcess at a time. The constructor makes the calling process ignore
// SIGPIPE; the bridge itself starts with SIGPIPE at its default, no blocked signals and no core
// dumps.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/Descriptor.h"
#include "support/OutputLine.h"
#include "vornix_host.h"

namespace support {

// Long enough for a loaded machine and an instrumented program; only a failing test waits so long.
constexpr std::chrono::milliseconds patience = std::chrono::seconds(30);

struct ProcessOptions {
  std::vector<std::string> arguments{};

  // Variables added to those of the calling process, or replacing them: {"TZ", "UTC"}.
  std::vector<std::pair<std::string, std::string>> environment{};

  // ended: a pipe whose other end is closed before the bridge starts. null: /dev/null.
  enum class Input { pipe, ended, null };
  Input input = Input::pipe;

  // packets: each write of the bridge, up to 4,096 bytes, arrives separately and is kept in
  // writes(); a longer one arrives in pieces of 4,096. Not every system has such pipes: see
  // BridgeProcess::canKeepWritesApart().
  enum class Output { pipe, packets };
  Output output = Output::pipe;

  // Makes the bridge's ends of its input and output non-blocking, as some hosts do.
  bool areEndsNonBlocking = false;

  // Those of the descriptors 0, 1 and 2 that the bridge is started without.
  std::vector<int> closed{};

  // The capacity of the output pipe in bytes, at least a page; 0 for the system's usual one (64 KiB
  // on Linux). Without effect on a system that has no F_SETPIPE_SZ.
  std::size_t outputRoom = 0;
};

// How a process ended: with a status, or by a signal.
struct ProcessEnd {
  bool bySignal = false;
  int code = 0;  // the status or the signal's number

  static ProcessEnd status(int code) { return {false, code}; }
  static ProcessEnd signal(int number) { return {true, number}; }
  bool operator==(const ProcessEnd&) const = default;
};

class BridgeProcess {
 public:
  using Limit = std::chrono::milliseconds;

  explicit BridgeProcess(const std::string& program, const ProcessOptions& options = {});
  BridgeProcess(const BridgeProcess&) = delete;
  BridgeProcess& operator=(const BridgeProcess&) = delete;
  ~BridgeProcess();  // kills a bridge that still runs

  pid_t id() const { return id_; }

  // To the bridge.

  // Writes the bytes as they are. False when they do not fit into the pipe within the limit, or
  // when its reading end is closed.
  bool write(std::string_view bytes, Limit limit = patience);

  // Writes the text and a line feed.
  bool writeLine(std::string_view text, Limit limit = patience);

  // Ends the bridge's input.
  void closeInput() { input_.close(); }

  // From the bridge.

  // The next line of the output; nothing when none is complete in time, or when there are no more.
  std::optional<OutputLine> next(Limit limit = patience);

  // The first line from here on that satisfies the condition; nothing when none comes in time.
  // Lines before it are skipped, but stay in lines().
  std::optional<OutputLine> waitFor(const std::function<bool(const OutputLine&)>& condition,
                                    Limit limit = patience);
  std::optional<OutputLine> waitForLog(std::string_view text, Limit limit = patience);
  std::optional<OutputLine> waitForMessage(std::string_view payload, Limit limit = patience);

  // All lines returned or skipped so far, in order.
  const std::vector<OutputLine>& lines() const { return lines_; }

  // stall() stops the reading of the output, also during writes and waits, as in a host that hangs;
  // resume() goes on with it.
  void stall() { stalled_ = true; }
  void resume() { stalled_ = false; }

  // The host is gone: closes the reading end of the output.
  void closeOutput() { output_.close(); }

  // All bytes of the output so far; with Output::packets, writes() has them by write of the bridge.
  const std::string& output() const { return outputBytes_; }
  const std::vector<std::string>& writes() const { return writes_; }

  // The bytes of the bridge's standard error that were read so far; all of them after waitForEnd.
  const std::string& standardError() const { return errorBytes_; }

  // The process.

  // The number of threads that the process has now; 0 when it has ended.
  std::size_t threadCount() const;

  // Whether the system allows Output::packets and threadCount(), as Linux does. Tests that need
  // these are skipped elsewhere.
  static bool canKeepWritesApart();
  static bool canCountThreads();

  void sendSignal(int number) const;

  // Reads both outputs to their end (while stalled, only standard error) and waits for the process.
  // All lines are in lines() then. Nothing when the process still runs at the limit.
  std::optional<ProcessEnd> waitForEnd(Limit limit = patience);

 private:
  using Clock = std::chrono::steady_clock;

  bool serve(Clock::time_point deadline, Descriptor* also);
  void readOutput();
  void readError();
  std::optional<OutputLine> takeLine();

  pid_t id_ = -1;
  Descriptor input_;
  Descriptor output_;
  Descriptor error_;
  Descriptor life_;  // a pipe that reaches its end when the process ends
  std::optional<ProcessEnd> end_;

  bool stalled_ = false;
  bool packets_ = false;
  vornix_host::LineReader reader_;
  std::vector<OutputLine> lines_;
  std::string outputBytes_;
  std::string errorBytes_;
  std::vector<std::string> writes_;
};

}  // namespace support
