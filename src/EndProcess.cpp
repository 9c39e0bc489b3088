#include "EndProcess.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

void endProcess() {
  // The lock is kept: what the other thread had begun is out, and it begins nothing more. A host
  // that has stopped reading may hold it up, but not for longer than a second.
  using namespace std::chrono_literals;
  for (int i = 0; i < 1000 && ftrylockfile(stdout) != 0; ++i) std::this_thread::sleep_for(1ms);
  std::_Exit(EXIT_SUCCESS);
}
