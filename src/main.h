// The bridge as a program: what it shares between its two threads, and its life.
#pragma once

#include <atomic>

#include "ComBLE.h"

extern std::atomic<bool> isRunning;  // true from the start; both threads go on while it is
extern ComBLE* comBLE;               // made at the start, never replaced

// Runs the bridge on standard input and output for the rest of the process's life. The calling
// thread is the main thread.
int runVornix(platform::Platform& platform);
