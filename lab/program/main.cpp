// vornix-lab: see --help (Options.cpp).

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <system_error>

#include "lab/hci/Peripheral.h"
#include "lab/models/Models.h"
#include "lab/program/Journal.h"
#include "lab/program/LineReader.h"
#include "lab/program/Options.h"

namespace {

using Clock = lab::Peripheral::Clock;

constexpr int kFailure = 1;
constexpr int kMisuse = 2;

int complain(const std::string& what, int status) {
  std::fprintf(stderr, "vornix-lab: %s\n", what.c_str());
  return status;
}

// "fault clear" is for both: the peripheral obeys it and returns false, so the device gets it too.
bool obey(const std::string& line, lab::Peripheral& peripheral, lab::BenchDevice& device) {
  return peripheral.control(line) || device.control(line);
}

// Returns true when standard input has ended, false when the controller has failed.
bool serve(lab::Peripheral& peripheral, lab::BenchDevice& device) {
  lab::LineReader input(STDIN_FILENO);
  while (!peripheral.hasFailed()) {
    peripheral.runUntil(Clock::now() + std::chrono::hours(1), STDIN_FILENO);
    if (!input.isReady()) continue;
    for (const std::string& line : input.read()) {
      if (!obey(line, peripheral, device)) complain("not understood: " + line, kMisuse);
    }
    peripheral.serve();  // what a line asked for is due now
    if (input.isAtEnd()) return true;
  }
  return false;
}

// A signal ends the input, so that the link is ended in order and the central learns of it.
void endInputOnSignal() {
  struct sigaction action {};
  action.sa_handler = [](int) { ::close(STDIN_FILENO); };
  ::sigaction(SIGINT, &action, nullptr);
  ::sigaction(SIGTERM, &action, nullptr);
}

}  // namespace

int main(int argc, char** argv) {
  std::string reason;
  const auto options = lab::parseOptions(std::span(argv + 1, argv + argc), reason);
  if (!options) return complain(reason + " (see --help)", kMisuse);
  if (options->wantsHelp) {
    std::fputs(lab::helpText().c_str(), stdout);
    return 0;
  }
  if (options->wantsVersion) {
    std::puts("vornix-lab " VORNIX_VERSION);
    return 0;
  }
  const std::unique_ptr<lab::BenchDevice> device = lab::makeDevice(options->device);
  if (!device) return complain("no such device: " + options->device, kMisuse);
  const int output =
      options->journal.empty()
          ? ::dup(STDOUT_FILENO)
          : ::open(options->journal.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  if (output < 0)
    return complain(options->journal + ": " + std::generic_category().message(errno), kFailure);
  lab::Journal journal(output);

  int error = 0;
  auto channel = lab::HciChannel::openWhenFree(options->controller, error);
  if (!channel) {
    reason = "hci" + std::to_string(options->controller) +
             " cannot be owned: " + std::generic_category().message(error);
    journal.didFail(reason);
    return complain(reason, kFailure);
  }
  endInputOnSignal();
  lab::Peripheral peripheral(std::move(*channel), *device, journal, options->largestMtu);
  for (const std::string& line : options->controls) {
    if (!obey(line, peripheral, *device)) return complain("not understood: " + line, kMisuse);
  }
  if (serve(peripheral, *device)) return 0;
  return complain("the controller cannot be used any more", kFailure);
}
