#include "support/spawn.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <map>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "support/BridgeProcess.h"

extern char** environ;  // not every system declares it

namespace support {
namespace {

struct Pipe {
  Descriptor reading;
  Descriptor writing;
};

void check(bool success, const char* what) {
  if (!success) throw std::system_error(errno, std::generic_category(), what);
}

Pipe makePipe() {
  int ends[2];
  check(::pipe(ends) == 0, "pipe");
  for (const int end : ends) check(::fcntl(end, F_SETFD, FD_CLOEXEC) == 0, "FD_CLOEXEC");
  return {Descriptor(ends[0]), Descriptor(ends[1])};
}

// Sets the flag for this end of the pipe only.
void dontBlock(const Descriptor& end) {
  check(::fcntl(end.number(), F_SETFL, ::fcntl(end.number(), F_GETFL) | O_NONBLOCK) == 0, "fcntl");
}

Pipe makeOutput(const ProcessOptions& options) {
  Pipe pipe = makePipe();
  if (options.output == ProcessOptions::Output::packets) {
#ifdef O_DIRECT
    check(::fcntl(pipe.writing.number(), F_SETFL, O_DIRECT) == 0, "O_DIRECT");
#else
    throw std::system_error(ENOTSUP, std::generic_category(), "packets");
#endif
  }
#ifdef F_SETPIPE_SZ
  if (options.outputRoom != 0) {
    const int size = ::fcntl(pipe.writing.number(), F_SETPIPE_SZ, options.outputRoom);
    check(size >= 0, "F_SETPIPE_SZ");
  }
#endif
  return pipe;
}

// The environment of this process with the options' variables; of several with one name the last
// counts.
std::map<std::string, std::string> changedEnvironment(const ProcessOptions& options) {
  std::map<std::string, std::string> variables;
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::size_t end = std::strcspn(*variable, "=");
    if ((*variable)[end] == '=') variables[{*variable, end}] = *variable + end + 1;
  }
  // Sanitizers must not catch abort(): they would write a report to standard error, and the program
  // would end with a status in place of the signal that the tests expect.
  for (const char* name : {"ASAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS"}) {
    variables[name] += ":handle_abort=0";
  }
  for (const auto& [name, value] : options.environment) variables[name] = value;
  return variables;
}

std::vector<std::string> environment(const ProcessOptions& options) {
  std::vector<std::string> variables;
  for (const auto& [name, value] : changedEnvironment(options)) {
    variables.push_back(name);
    variables.back().append("=").append(value);
  }
  return variables;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> result;
  result.reserve(texts.size() + 1);
  for (std::string& text : texts) result.push_back(text.data());
  result.push_back(nullptr);
  return result;
}

// What the child runs between fork and exec: only async-signal-safe calls, no allocation.
class Launch {
 public:
  Launch(const std::string& program, const ProcessOptions& options)
      : program_(program), closed_(options.closed) {
    argumentTexts_.push_back(program);
    argumentTexts_.insert(argumentTexts_.end(), options.arguments.begin(), options.arguments.end());
    environmentTexts_ = environment(options);
    arguments_ = pointers(argumentTexts_);
    environment_ = pointers(environmentTexts_);
  }

  [[noreturn]] void run(int input, int output, int error, int life) {
    ::signal(SIGPIPE, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    ::pthread_sigmask(SIG_SETMASK, &none, nullptr);
    const rlimit noCore{0, 0};
    ::setrlimit(RLIMIT_CORE, &noCore);

    ::dup2(input, STDIN_FILENO);
    ::dup2(output, STDOUT_FILENO);
    ::dup2(error, STDERR_FILENO);
    for (const int descriptor : closed_) ::close(descriptor);
    ::fcntl(life, F_SETFD, 0);
    ::execve(program_.c_str(), arguments_.data(), environment_.data());

    constexpr std::string_view failure = "cannot execute the program\n";
    static_cast<void>(!::write(STDERR_FILENO, failure.data(), failure.size()));
    ::_exit(127);
  }

 private:
  const std::string& program_;
  const std::vector<int>& closed_;
  std::vector<std::string> argumentTexts_;
  std::vector<std::string> environmentTexts_;
  std::vector<char*> arguments_;
  std::vector<char*> environment_;
};

Pipe makeInput(ProcessOptions::Input input) {
  if (input != ProcessOptions::Input::null) {
    Pipe pipe = makePipe();
    if (input == ProcessOptions::Input::ended) pipe.writing.close();
    return pipe;
  }
  const int null = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
  check(null >= 0, "/dev/null");
  return {Descriptor(null), Descriptor()};
}

}  // namespace

Child spawn(const std::string& program, const ProcessOptions& options) {
  Pipe input = makeInput(options.input);
  Pipe output = makeOutput(options);
  Pipe error = makePipe();
  Pipe life = makePipe();
  Launch launch(program, options);

  if (options.areEndsNonBlocking) {
    dontBlock(input.reading);
    dontBlock(output.writing);
  }
  const pid_t id = ::fork();
  check(id >= 0, "fork");
  if (id == 0) {
    launch.run(input.reading.number(), output.writing.number(), error.writing.number(),
               life.writing.number());
  }
  for (const Descriptor* end : {&input.writing, &output.reading, &error.reading, &life.reading}) {
    if (end->isOpen()) dontBlock(*end);
  }
  return {id, std::move(input.writing), std::move(output.reading), std::move(error.reading),
          std::move(life.reading)};
}

}  // namespace support
