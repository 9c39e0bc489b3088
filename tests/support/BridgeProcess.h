// A bridge as its host has it: a child process, commands to its standard input, lines from its
// standard output.
//
// Every wait is bounded by a limit that the caller gives and ends as soon as what is waited for is
// there; it serves all pipes of the bridge meanwhile, so that none of them fills up. Failures of
// the operating system (no pipe, no process) are thrown as std::system_error.
//
// One thread uses a BridgeProcess at a time. The first one made turns SIGPIPE off in the calling
// process; the bridge is started with SIGPIPE at its default, no blocked signals and no core dumps.
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

// Long enough for a loaded machine and an instrumented program; a test that passes never waits it
// out.
constexpr std::chrono::milliseconds patience = std::chrono::seconds(30);

struct ProcessOptions {
  std::vector<std::string> arguments{};

  // Variables added to those of the calling process, or replacing them: {"TZ", "UTC"}.
  std::vector<std::pair<std::string, std::string>> environment{};

  // ended: a pipe whose other end is closed before the bridge starts. null: /dev/null.
  enum class Input { pipe, ended, null };
  Input input = Input::pipe;

  // packets: each write of the bridge arrives on its own and is kept in writes(), up to 4,096
  // bytes; a longer one arrives in pieces of 4,096. Not every system has such pipes: see
  // BridgeProcess::canKeepWritesApart().
  enum class Output { pipe, packets };
  Output output = Output::pipe;

  // The bridge's own ends of its input and output do not block, as some hosts leave them.
  bool areEndsNonBlocking = false;

  // Of the bridge's descriptors 0, 1 and 2, those that it is started without.
  std::vector<int> closed{};

  // Room in the output pipe, in bytes; 0 leaves the system's (64 KiB on Linux), as does a system on
  // which it cannot be chosen. At least a page.
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

  // Writes the bytes as they are. False when the bridge does not take them all in time, or no
  // longer reads.
  bool write(std::string_view bytes, Limit limit = patience);

  // Writes the text and a line feed.
  bool writeLine(std::string_view text, Limit limit = patience);

  // The end of the bridge's input.
  void closeInput() { input_.close(); }

  // From the bridge.

  // The next line of the output: nothing when none is complete in time, or when the output has
  // ended and all lines are taken.
  std::optional<OutputLine> next(Limit limit = patience);

  // Takes lines up to the first that satisfies the condition, and returns it; nothing when it does
  // not come. Those before it are passed over (they stay in lines()).
  std::optional<OutputLine> waitFor(const std::function<bool(const OutputLine&)>& condition,
                                    Limit limit = patience);
  std::optional<OutputLine> waitForLog(std::string_view text, Limit limit = patience);
  std::optional<OutputLine> waitForMessage(std::string_view payload, Limit limit = patience);

  // All lines taken so far, first to last.
  const std::vector<OutputLine>& lines() const { return lines_; }

  // From now on the output is read, or not: a stalled host. Also writes and waits respect it.
  void stall() { stalled_ = true; }
  void resume() { stalled_ = false; }

  // The host is gone: closes the reading end of the output.
  void closeOutput() { output_.close(); }

  // Bytes of the output as they came, and (Output::packets) cut as the bridge wrote them.
  const std::string& output() const { return outputBytes_; }
  const std::vector<std::string>& writes() const { return writes_; }

  // What the bridge has written to its standard error, as far as it has been read; all of it after
  // waitForEnd.
  const std::string& standardError() const { return errorBytes_; }

  // The process.

  // Threads that the system counts now; 0 when the process has ended.
  std::size_t threadCount() const;

  // What only Linux has, for Output::packets and for threadCount(). A test that needs it is skipped
  // elsewhere.
  static bool canKeepWritesApart();
  static bool canCountThreads();

  void sendSignal(int number) const;

  // Reads both outputs to their end and collects the process. All lines are in lines() then.
  // Nothing when it still runs at the limit.
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
  Descriptor life_;  // reads the end of file when the process has ended
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
