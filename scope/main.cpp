// vornix-scope: see --help (Options.cpp).
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <span>
#include <string>
#include <string_view>

#include "scope/Clock.h"
#include "scope/Options.h"
#include "scope/pass/Passage.h"
#include "scope/record/Export.h"
#include "scope/record/Reader.h"
#include "scope/record/Replay.h"

namespace {

using scope::Options;

constexpr int kFailed = 1;
constexpr int kMisuse = 2;

int complain(const std::string& what, int status) {
  std::fprintf(stderr, "vornix-scope: %s\n", what.c_str());
  return status;
}

int print(std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
  return 0;
}

// Two processes: this one, which the host started, passes on; the other one watches.
[[noreturn]] void passAndWatch(const Options& options) {
  scope::sessionTime();  // begins
  scope::Pipe tap = scope::makePipe();
  scope::Pipe commands = scope::makePipe();
  scope::Pipe done = scope::makePipe();
  // Started twice over, so that its end is no SIGCHLD to this process.
  const pid_t between = ::fork();
  if (between == 0) {
    if (::fork() == 0) {
      tap.writing.close();
      commands.reading.close();
      done.reading.close();
      scope::runWatch(options.watch, {std::move(tap.reading), std::move(commands.writing),
                                      std::move(done.writing)});
    }
    ::_exit(0);
  }
  int ignored = 0;
  ::waitpid(between, &ignored, 0);
  tap.reading.close();
  commands.writing.close();
  done.writing.close();

  scope::PassageSetup setup;
  setup.command = options.watch.command;
  if (options.task == Options::Task::replay) {
    setup.run = [&options] { return scope::replay(options.recording, options.speed); };
  }
  setup.tap = std::move(tap.writing);
  setup.commands = std::move(commands.reading);
  setup.done = std::move(done.reading);
  scope::runPassage(std::move(setup));
}

int run(const Options& options) {
  switch (options.task) {
    case Options::Task::help:
      return print(scope::helpText());
    case Options::Task::version:
      return print("vornix-scope " VORNIX_VERSION "\n");
    case Options::Task::exportTables:
      for (const std::string& table : scope::exportTables(options.recording, options.folder)) {
        print(table + '\n');
      }
      return 0;
    case Options::Task::replay:
      scope::RecordingReader(options.recording);  // refuses what cannot be played
      break;
    case Options::Task::pass:
      break;
  }
  passAndWatch(options);
}

}  // namespace

int main(int argc, char** argv) {
  std::string reason;
  const auto options = scope::parseOptions(std::span(argv + 1, argv + argc), reason);
  if (!options) return complain(reason + " (see --help)", kMisuse);
  try {
    return run(*options);
  } catch (const std::exception& error) {
    return complain(error.what(), kFailed);
  }
}
