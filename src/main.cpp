#include "main.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <memory>
#include <thread>

#include "EndProcess.h"
#include "HostCommands.h"
#include "Output.h"
#include "RunLoop.h"
#include "Utils.h"

std::atomic<bool> isRunning{false};
ComBLE* comBLE = nullptr;

namespace {

// Some hosts leave the child's ends of its pipes non-blocking. An empty pipe would then be taken
// for the end of the input. (Output never waits in a write.)
void makeInputBlocking() {
  const int flags = ::fcntl(STDIN_FILENO, F_GETFL);
  if (flags >= 0 && (flags & O_NONBLOCK) != 0) {
    ::fcntl(STDIN_FILENO, F_SETFL, flags & ~O_NONBLOCK);
  }
}

}  // namespace

int runVornix(platform::Platform& platform) {
  isRunning = true;
  makeInputBlocking();
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  std::signal(SIGPIPE, SIG_IGN);  // a host that is gone closes the input, which ends the process
  platform.deliverInto(standardOutput());
  const auto central = std::make_unique<ComBLE>(platform);
  comBLE = central.get();
  writeLine("Demarrage de Vornix " VORNIX_VERSION);
  if (hostSendsNothing()) endProcess();  // the banner alone: the radio's state must not follow it
  std::thread([] { readHostCommands(*comBLE, isRunning); }).detach();
  while (isRunning) turnRunLoop(platform, *comBLE);
  return 0;
}
