#include "scope/Ending.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <charconv>
#include <csignal>

namespace scope {
namespace {

constexpr std::string_view kStatus = "status ";
constexpr std::string_view kSignal = "signal ";

}  // namespace

Ending endingOf(int waitStatus) {
  if (WIFSIGNALED(waitStatus)) return {true, WTERMSIG(waitStatus)};
  return {false, WEXITSTATUS(waitStatus)};
}

std::string toText(Ending ending) {
  return std::string(ending.isBySignal ? kSignal : kStatus) + std::to_string(ending.code);
}

std::optional<Ending> toEnding(std::string_view text) {
  Ending ending;
  ending.isBySignal = text.starts_with(kSignal);
  if (!ending.isBySignal && !text.starts_with(kStatus)) return std::nullopt;
  text.remove_prefix(kStatus.size());
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, ending.code);
  if (error != std::errc() || stop != end || ending.code < 0 || ending.code > 255) {
    return std::nullopt;
  }
  return ending;
}

void endAs(Ending ending) {
  if (ending.isBySignal) {
    const rlimit none{0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    ::sigaction(ending.code, &action, nullptr);
    sigset_t one;
    sigemptyset(&one);
    sigaddset(&one, ending.code);
    ::kill(::getpid(), ending.code);
    ::pthread_sigmask(SIG_UNBLOCK, &one, nullptr);
    // A signal that does not end a process cannot have ended another.
    ::_exit(128 + ending.code);
  }
  ::_exit(ending.code);
}

}  // namespace scope
