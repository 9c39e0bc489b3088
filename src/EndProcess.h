// The only way to end the process on purpose.
#pragma once

// Ends the process at once with status 0, from any thread. No destructor and no exit handler runs
// beside the other thread, and a line that the other thread is writing is let out whole first.
[[noreturn]] void endProcess();
