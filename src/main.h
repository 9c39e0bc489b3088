// The bridge as a program, and the globals that its two threads share.
#pragma once

#include <atomic>

#include "ComBLE.h"

// Set to true by runVornix and never cleared; both threads run while it is true.
extern std::atomic<bool> isRunning;
// Made at the start, never replaced.
extern ComBLE* comBLE;

// Runs the bridge on standard input and output for the rest of the process's life. The calling
// thread is the main thread.
int runVornix(platform::Platform& platform);
