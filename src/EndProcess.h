// The only way to end the process on purpose.
#pragma once

// Ends the process at once with status 0, from any thread. No destructor and no exit handler runs
// beside the other thread, and what either thread has written is let out whole first; a host that
// has stopped reading may hold that up, but not for longer than a second.
[[noreturn]] void endProcess();
