#include "support/BridgeProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <iterator>
#include <string>
#include <system_error>
#include <utility>

#include "support/spawn.h"

namespace support {
namespace {

constexpr std::size_t largestRead = 65536;

// The number of bytes read, perhaps 0; -1 at the end of the pipe or after an error.
ssize_t readSome(const Descriptor& descriptor, std::string& bytes) {
  bytes.resize(largestRead);
  const ssize_t size = ::read(descriptor.number(), bytes.data(), bytes.size());
  const bool nothingYet = size < 0 && (errno == EAGAIN || errno == EINTR);
  bytes.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
  return nothingYet ? 0 : (size > 0 ? size : -1);
}

}  // namespace

BridgeProcess::BridgeProcess(const std::string& program, const ProcessOptions& options)
    : packets_(options.output == ProcessOptions::Output::packets) {
  ::signal(SIGPIPE, SIG_IGN);
  Child child = spawn(program, options);
  id_ = child.id;
  input_ = std::move(child.input);
  output_ = std::move(child.output);
  error_ = std::move(child.error);
  life_ = std::move(child.life);
}

BridgeProcess::~BridgeProcess() {
  if (end_) return;
  ::kill(id_, SIGKILL);
  while (::waitpid(id_, nullptr, 0) < 0 && errno == EINTR) continue;
}

bool BridgeProcess::write(std::string_view bytes, Limit limit) {
  const Clock::time_point deadline = Clock::now() + limit;
  while (!bytes.empty()) {
    const ssize_t size = ::write(input_.number(), bytes.data(), bytes.size());
    if (size > 0) {
      bytes.remove_prefix(static_cast<std::size_t>(size));
      continue;
    }
    const bool isFull = errno == EAGAIN || errno == EINTR;
    if (!isFull || !serve(deadline, &input_)) return false;
  }
  return true;
}

bool BridgeProcess::writeLine(std::string_view text, Limit limit) {
  return write(std::string(text) + "\n", limit);
}

std::optional<OutputLine> BridgeProcess::next(Limit limit) {
  const Clock::time_point deadline = Clock::now() + limit;
  for (;;) {
    if (std::optional<OutputLine> line = takeLine()) return line;
    if (!output_.isOpen() || !serve(deadline, nullptr)) return std::nullopt;
  }
}

std::optional<OutputLine> BridgeProcess::waitFor(
    const std::function<bool(const OutputLine&)>& condition, Limit limit) {
  const Clock::time_point deadline = Clock::now() + limit;
  for (bool isOver = false;;) {
    while (std::optional<OutputLine> line = takeLine()) {
      if (condition(*line)) return line;
    }
    if (isOver || !output_.isOpen()) return std::nullopt;
    // At the end of the time, what has come by then is read once more, and no further: a program
    // that writes faster than the condition reads would be read for ever.
    isOver = Clock::now() >= deadline;
    if (!serve(deadline, nullptr)) return std::nullopt;
  }
}

std::optional<OutputLine> BridgeProcess::waitForLog(std::string_view text, Limit limit) {
  return waitFor([=](const OutputLine& line) { return line.isLog(text); }, limit);
}

std::optional<OutputLine> BridgeProcess::waitForMessage(std::string_view payload, Limit limit) {
  return waitFor([=](const OutputLine& line) { return line.isMessage(payload); }, limit);
}

std::size_t BridgeProcess::threadCount() const {
  std::error_code gone;
  const std::filesystem::directory_iterator tasks("/proc/" + std::to_string(id_) + "/task", gone);
  return gone ? 0 : static_cast<std::size_t>(std::distance(begin(tasks), end(tasks)));
}

bool BridgeProcess::canKeepWritesApart() {
#ifdef O_DIRECT
  return true;
#else
  return false;
#endif
}

bool BridgeProcess::canCountThreads() {
  return std::filesystem::exists("/proc/self/task");
}

void BridgeProcess::sendSignal(int number) const {
  if (!end_) ::kill(id_, number);
}

std::optional<ProcessEnd> BridgeProcess::waitForEnd(Limit limit) {
  const Clock::time_point deadline = Clock::now() + limit;
  while (life_.isOpen() || error_.isOpen() || (output_.isOpen() && !stalled_)) {
    if (!serve(deadline, &life_)) return std::nullopt;
  }
  while (takeLine()) continue;
  if (!end_) {
    int status = 0;
    while (::waitpid(id_, &status, 0) < 0) {
      if (errno != EINTR) throw std::system_error(errno, std::generic_category(), "waitpid");
    }
    end_ = WIFSIGNALED(status) ? ProcessEnd::signal(WTERMSIG(status))
                               : ProcessEnd::status(WEXITSTATUS(status));
  }
  return end_;
}

// Waits until one of the output pipes, or `also`, is ready, and reads what has come. False at the
// deadline.
bool BridgeProcess::serve(Clock::time_point deadline, Descriptor* also) {
  const auto entry = [](const Descriptor& descriptor, bool wanted, short events) {
    return pollfd{wanted ? descriptor.number() : -1, events, 0};
  };
  std::array<pollfd, 4> pipes{entry(output_, !stalled_, POLLIN), entry(error_, true, POLLIN),
                              entry(input_, also == &input_, POLLOUT),
                              entry(life_, also == &life_, POLLIN)};
  const auto left = std::chrono::ceil<Limit>(deadline - Clock::now()).count();
  const int ready =
      ::poll(pipes.data(), pipes.size(), static_cast<int>(std::max(left, Limit::rep{0})));
  if (ready < 0 && errno != EINTR) throw std::system_error(errno, std::generic_category(), "poll");
  if (ready == 0) return false;
  if (pipes[0].revents != 0) readOutput();
  if (pipes[1].revents != 0) readError();
  if (pipes[3].revents != 0) life_.close();
  return true;
}

void BridgeProcess::readOutput() {
  std::string bytes;
  if (readSome(output_, bytes) < 0) {
    output_.close();
    reader_.finish();
    return;
  }
  reader_.feed(bytes);
  outputBytes_ += bytes;
  if (packets_ && !bytes.empty()) writes_.push_back(std::move(bytes));
}

void BridgeProcess::readError() {
  std::string bytes;
  if (readSome(error_, bytes) < 0) error_.close();
  errorBytes_ += bytes;
}

std::optional<OutputLine> BridgeProcess::takeLine() {
  const std::optional<vornix_host::Line> line = reader_.next();
  if (!line) return std::nullopt;
  lines_.push_back({line->kind, line->time, std::string(line->text), std::string(line->bytes)});
  return lines_.back();
}

}  // namespace support
