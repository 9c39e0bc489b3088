#include "Process.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "support/BridgeProcess.h"

namespace bench {
namespace {

// More than the output of one run, so that nothing is reallocated while values come.
constexpr std::size_t kBytes = 4U << 20U;
constexpr std::size_t kArrivals = 1U << 16U;

support::Child start(const std::vector<std::string>& command) {
  support::ProcessOptions options;
  options.arguments.assign(command.begin() + 1, command.end());
  return support::spawn(command.front(), options);
}

}  // namespace

Nanoseconds cpuTime(pid_t process) {
  std::int64_t sum = 0;
  const std::string tasks = "/proc/" + std::to_string(process) + "/task";
  for (const auto& task : std::filesystem::directory_iterator(tasks)) {
    std::int64_t time = 0;
    std::ifstream(task.path() / "schedstat") >> time;
    sum += time;
  }
  return Nanoseconds(sum);
}

void holdMemory() {
  if (::mlockall(MCL_FUTURE) != 0) {
    throw std::system_error(errno, std::generic_category(), "memory cannot be held");
  }
}

long residentMemory(pid_t process) {
  std::ifstream memory("/proc/" + std::to_string(process) + "/smaps_rollup");
  for (std::string word; memory >> word;) {
    long size = 0;
    if (word == "Rss:" && memory >> size) return size;
  }
  return 0;
}

Output::Output(support::Descriptor pipe) : pipe_(std::move(pipe)) {
  bytes_.reserve(kBytes);
  arrivals_.reserve(kArrivals);
}

void Output::readOnce() {
  std::array<char, 65536> buffer;
  const ssize_t size = ::read(pipe_.number(), buffer.data(), buffer.size());
  const Clock::time_point now = Clock::now();
  if (size < 0 && (errno == EAGAIN || errno == EINTR)) return;
  if (size <= 0) return pipe_.close();
  bytes_.append(buffer.data(), static_cast<std::size_t>(size));
  arrivals_.push_back({bytes_.size(), now});
}

std::vector<Output::Line> Output::linesFrom(std::size_t begin) const {
  std::vector<Line> lines;
  auto arrival = arrivals_.begin();
  for (std::size_t end = bytes_.find('\n', begin); end != std::string::npos;
       end = bytes_.find('\n', begin)) {
    while (arrival->end <= end) ++arrival;
    lines.push_back({std::string_view(bytes_).substr(begin, end - begin), arrival->time});
    begin = end + 1;
  }
  return lines;
}

Process::Process(const std::vector<std::string>& command)
    : child_(start(command)), output_(std::move(child_.output)) {}

Process::~Process() {
  ::kill(child_.id, SIGTERM);
  while (::waitpid(child_.id, nullptr, 0) < 0 && errno == EINTR) continue;
}

void Process::writeLine(const std::string& text) const {
  const std::string line = text + "\n";
  const ssize_t size = ::write(child_.input.number(), line.data(), line.size());
  if (size != static_cast<ssize_t>(line.size())) {
    throw std::system_error(EPIPE, std::generic_category(), text);
  }
}

std::string Process::errors() const {
  std::array<char, 4096> buffer;
  const ssize_t size = ::read(child_.error.number(), buffer.data(), buffer.size());
  return {buffer.data(), size > 0 ? static_cast<std::size_t>(size) : 0};
}

}  // namespace bench
