// The only way to end the process on purpose.
#pragma once

// Ends the process with status 0, from any thread. No destructor or exit handler runs, as the other
// thread is still running. Output that waits for the host is written first; a host that does not
// read delays the end by a second at most.
[[noreturn]] void endProcess();
