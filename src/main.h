// The bridge as a program: what it shares between its two threads, and its life.
#pragma once

#include <atomic>

#include "ComBLE.h"

// Set by runVornix and never cleared; both threads go on while it is.
extern std::atomic<bool> isRunning;
// Made at the start, never replaced.
extern ComBLE* comBLE;

// Runs the bridge on standard input and output for the rest of the process's life. The calling
// thread is the main thread.
int runVornix(platform::Platform& platform);
