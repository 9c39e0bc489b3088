// One run of the bridge: a child process with a pipe on each side. Throws std::system_error.
#pragma once

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

// NOLINTNEXTLINE(readability-redundant-declaration): only glibc has declared it already
extern "C" char** environ;

namespace vornix_host::detail {

inline void require(int error, const char* what) {
  if (error != 0) throw std::system_error(error, std::generic_category(), what);
}

class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Descriptor() { close(); }

  int number() const { return number_; }
  void close() {
    if (number_ >= 0) ::close(std::exchange(number_, -1));
  }

 private:
  int number_ = -1;
};

struct Pipe {
  Descriptor reading, writing;

  // No other child of the host inherits an end, which would keep the pipe open.
  static Pipe make() {
    int ends[2];
#ifdef __APPLE__
    require(::pipe(ends) == 0 ? 0 : errno, "pipe");
    for (const int end : ends) ::fcntl(end, F_SETFD, FD_CLOEXEC);
#else
    require(::pipe2(ends, O_CLOEXEC) == 0 ? 0 : errno, "pipe2");
#endif
    return {Descriptor(ends[0]), Descriptor(ends[1])};
  }
};

class Child {
 public:
  explicit Child(const std::vector<std::string>& command) {
    Pipe in = Pipe::make();
    Pipe out = Pipe::make();
    spawn(command, in.reading.number(), out.writing.number());
    // The bridge's own ends stay blocking: each end of a pipe has its own flags.
    for (const int own : {in.writing.number(), out.reading.number()}) {
      ::fcntl(own, F_SETFL, ::fcntl(own, F_GETFL) | O_NONBLOCK);
    }
    input_ = std::move(in.writing);
    output_ = std::move(out.reading);
  }

  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child() {
    if (process_ < 0) return;
    kill();
    wait();
  }

  int input() const { return input_.number(); }
  int output() const { return output_.number(); }
  void closeInput() { input_.close(); }
  void kill() const { ::kill(process_, SIGKILL); }

  // To be called after the end of its output. The exit status, or minus the number of the signal.
  int wait() {
    int status = 0;
    while (::waitpid(process_, &status, 0) < 0 && errno == EINTR) {
    }
    process_ = -1;
    return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
  }

 private:
  // Starts it in a process group of its own, since a Ctrl-C at the terminal is for the host alone,
  // and with no signal blocked, whatever the host's thread blocks.
  void spawn(const std::vector<std::string>& command, int in, int out) {
    std::vector<char*> words;
    words.reserve(command.size() + 1);
    for (const std::string& word : command) words.push_back(const_cast<char*>(word.c_str()));
    words.push_back(nullptr);
    if (command.empty()) require(EINVAL, "no program to start");

    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, in, STDIN_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, out, STDOUT_FILENO);
    ::posix_spawnattr_init(&attributes);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK);
    ::posix_spawnattr_setpgroup(&attributes, 0);
    sigset_t none;
    ::sigemptyset(&none);
    ::posix_spawnattr_setsigmask(&attributes, &none);
    const int error =
        ::posix_spawnp(&process_, words[0], &actions, &attributes, words.data(), environ);
    ::posix_spawnattr_destroy(&attributes);
    ::posix_spawn_file_actions_destroy(&actions);
    if (error != 0) process_ = -1;
    require(error, words[0]);
  }

  pid_t process_ = -1;
  Descriptor input_, output_;
};

}  // namespace vornix_host::detail
