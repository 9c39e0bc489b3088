// One slice of the main thread's loop.
#pragma once

#include "ComBLE.h"

// Turns the platform's run loop for one second, then stops the scan if it has lasted long enough:
// more than 60 seconds have passed since the first connection request, or a Corvelta, a probe and a
// Tramsel have been found. A Fenwix does not count. Main thread.
void turnRunLoop(platform::Platform& platform, ComBLE& comBLE);
