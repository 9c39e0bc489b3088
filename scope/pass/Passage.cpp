#include "scope/pass/Passage.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <thread>

#include "scope/Clock.h"
#include "scope/Ending.h"
#include "scope/pass/HostInput.h"
#include "scope/pass/Tap.h"

namespace scope {
namespace {

constexpr std::array kSentOn{SIGHUP,  SIGINT,  SIGQUIT, SIGTERM, SIGUSR1,
                             SIGUSR2, SIGCONT, SIGTSTP, SIGWINCH};
constexpr int kNotStarted = 127;
// How long the end of this process waits for the end of the recording.
constexpr int kRecordingPatience = 1000;  // milliseconds
constexpr Time kStallToTell = 1'000'000;  // microseconds

class Passage {
 public:
  explicit Passage(PassageSetup setup)
      : command_(std::move(setup.command)),
        run_(std::move(setup.run)),
        tap_(std::move(setup.tap)),
        commands_(std::move(setup.commands)),
        done_(std::move(setup.done)) {}

  [[noreturn]] void run() {
    blockSignals();
    start();
    std::thread([this] { passInput(); }).detach();
    std::thread output([this] { passOutput(); });
    const Ending ending = waitForEnd();
    hasEnded_ = true;
    output.join();
    const std::string text = toText(ending);
    tap_.send({Kind::end, sessionTime(), text});
    tap_.close();
    // The host sees the end of the output now, whatever the disk does.
    ::close(STDOUT_FILENO);
    isReadable(done_.get(), kRecordingPatience);
    endAs(ending);
  }

 private:
  void blockSignals() {
    sigemptyset(&signals_);
    for (const int signal : kSentOn) sigaddset(&signals_, signal);
    sigaddset(&signals_, SIGCHLD);
    ::pthread_sigmask(SIG_BLOCK, &signals_, &inherited_);
    pipeAction_ = ::signal(SIGPIPE, SIG_IGN);
  }

  void start() {
    Pipe input = makePipe();
    Pipe output = makePipe();
    child_ = ::fork();
    if (child_ == 0) becomeBridge(input.reading.get(), output.writing.get());
    if (child_ < 0) {
      std::perror("vornix-scope: fork");
      ::_exit(kNotStarted);
    }
    toBridge_ = std::move(input.writing);
    fromBridge_ = std::move(output.reading);
  }

  [[noreturn]] void becomeBridge(int input, int output) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::dup2(input, STDIN_FILENO);
    ::dup2(output, STDOUT_FILENO);
    ::signal(SIGPIPE, pipeAction_);
    ::pthread_sigmask(SIG_SETMASK, &inherited_, nullptr);
    if (run_) {
      // What this child does not close would keep the tap open.
      tap_.close();
      ::close(input);
      ::close(output);
      toBridge_.close();
      endAs(run_());
    }
    std::vector<char*> words;
    words.reserve(command_.size() + 1);
    for (std::string& word : command_) words.push_back(word.data());
    words.push_back(nullptr);
    ::execvp(words[0], words.data());
    std::perror(("vornix-scope: " + command_.front()).c_str());
    ::_exit(kNotStarted);
  }

  Ending waitForEnd() {
    for (;;) {
      siginfo_t info{};
      const timespec second{1, 0};
      const int signal = ::sigtimedwait(&signals_, &info, &second);
      if (signal == SIGCHLD) {
        int status = 0;
        if (::waitpid(child_, &status, WNOHANG) == child_) return endingOf(status);
      } else if (signal > 0 && info.si_code != SI_KERNEL) {
        ::kill(child_, signal);
      }
      tellStall();
    }
  }

  void tellStall() {
    const Time since = writingSince_;
    const Time now = sessionTime();
    if (since == 0 || now - since < kStallToTell) return;
    tap_.send({Kind::stalled, now, std::to_string((now - since) / 1000)});
  }

  void passOutput() {
    std::array<char, std::size_t{1} << 16U> room{};
    for (;;) {
      // Once the bridge has ended, all that it wrote is in the pipe; a process that it may have
      // left behind is not waited for.
      while (!isReadable(fromBridge_.get(), 100)) {
        if (hasEnded_ && !isReadable(fromBridge_.get(), 0)) return;
      }
      const std::size_t count = readSome(fromBridge_.get(), room);
      if (count == 0) return;
      const std::string_view bytes(room.data(), count);
      const Time now = sessionTime();
      writingSince_ = now;
      const bool isTaken = writeAll(STDOUT_FILENO, bytes);
      writingSince_ = 0;
      tap_.send({Kind::output, now, bytes});
      if (!isTaken) break;
    }
    // The host has closed its end: now the bridge is to find its own end closed.
    fromBridge_.close();
  }

  void passInput() {
    HostInput input(toBridge_, tap_);
    std::array<pollfd, 2> sources{{{STDIN_FILENO, POLLIN, 0}, {commands_.get(), POLLIN, 0}}};
    while (input.isOpen()) {
      if (::poll(sources.data(), sources.size(), -1) < 0) continue;
      if (sources[0].revents != 0) input.takeFromHost(STDIN_FILENO);
      if (sources[1].revents != 0 && !input.takeFromPage(commands_.get())) sources[1].fd = -1;
    }
    // The host is to find its own end closed when the bridge has closed its input.
    ::close(STDIN_FILENO);
  }

  std::vector<std::string> command_;
  std::function<Ending()> run_;
  TapSender tap_;
  Descriptor commands_;
  Descriptor done_;

  sigset_t signals_{};
  sigset_t inherited_{};
  sighandler_t pipeAction_ = SIG_DFL;
  pid_t child_ = -1;
  Descriptor toBridge_;
  Descriptor fromBridge_;
  std::atomic<bool> hasEnded_ = false;
  std::atomic<Time> writingSince_ = 0;  // 0: no write is under way
};

}  // namespace

void runPassage(PassageSetup setup) {
  // Not destroyed: a thread uses it until the process ends.
  auto* const passage = new Passage(std::move(setup));
  passage->run();
}

}  // namespace scope
