#include "Program.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <system_error>

namespace stack {
namespace {

void throwIf(int error, const std::string& what) {
  if (error != 0) throw std::system_error(error, std::generic_category(), what);
}

}  // namespace

Program::Program(const std::vector<std::string>& command, const std::filesystem::path& log) {
  int ends[2];
  throwIf(::pipe2(ends, O_CLOEXEC) == 0 ? 0 : errno, "pipe2");
  const support::Descriptor reading(ends[0]);
  input_ = support::Descriptor(ends[1]);

  std::vector<char*> arguments;
  for (const std::string& argument : command) {
    arguments.push_back(const_cast<char*>(argument.c_str()));
  }
  arguments.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, reading.number(), STDIN_FILENO);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, log.c_str(),
                                   O_WRONLY | O_CREAT | O_APPEND, 0644);
  posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
  const int error = ::posix_spawn(&id_, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  throwIf(error, command[0]);
}

Program::~Program() {
  sendSignal(SIGKILL);
  while (!ended_ && ::waitpid(id_, nullptr, 0) < 0 && errno == EINTR) continue;
}

void Program::writeLine(std::string_view text) const {
  const std::string line = std::string(text) + "\n";
  const ssize_t size = ::write(input_.number(), line.data(), line.size());
  throwIf(size == static_cast<ssize_t>(line.size()) ? 0 : EPIPE, line);
}

void Program::sendSignal(int number) const {
  if (!ended_) ::kill(id_, number);
}

bool Program::waitForEnd(Limit limit) {
  if (ended_) return true;
  const support::Descriptor process(static_cast<int>(::syscall(SYS_pidfd_open, id_, 0)));
  pollfd end{process.number(), POLLIN, 0};
  if (::poll(&end, 1, static_cast<int>(limit.count())) <= 0) return false;
  ended_ = ::waitpid(id_, nullptr, 0) == id_;
  return ended_;
}

}  // namespace stack
