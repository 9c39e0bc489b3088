#include "main.h"

#include <csignal>
#include <cstdio>
#include <memory>
#include <thread>

#include "EndProcess.h"
#include "HostCommands.h"
#include "RunLoop.h"
#include "Utils.h"

std::atomic<bool> isRunning{false};
ComBLE* comBLE = nullptr;

int runVornix(platform::Platform& platform) {
  isRunning = true;
  std::setbuf(stdout, nullptr);
  std::signal(SIGPIPE, SIG_IGN);  // a host that is gone closes the input, which ends the process
  platform.deliverWhileWritable(fileno(stdout));
  const auto central = std::make_unique<ComBLE>(platform);
  comBLE = central.get();
  writeLine("Demarrage de Vornix " VORNIX_VERSION);
  if (hostSendsNothing()) endProcess();  // the banner alone: the radio's state must not follow it
  std::thread([] { readHostCommands(*comBLE, isRunning); }).detach();
  while (isRunning) turnRunLoop(platform, *comBLE);
  return 0;
}
