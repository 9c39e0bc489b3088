// The main thread's loop. Main thread.
#pragma once

#include "ComBLE.h"

// Turns the platform's run loop for one second, then ends the scan when it has lasted long enough:
// 60 seconds after the first connection request, or as soon as a Corvelta, a probe and a Tramsel
// have been found. A Fenwix does not count.
void turnRunLoop(platform::Platform& platform, ComBLE& comBLE);
