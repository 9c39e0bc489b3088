// The host's commands on standard input: texts, one per line, exact and case-sensitive. Everything
// except hostSendsNothing runs on the reader thread.
#pragma once

#include <atomic>
#include <string_view>

#include "ComBLE.h"

// Carries out one line, given without its terminator. Waits until the host has room for the
// command's log line, so that no more commands are taken from a host that does not read. A device
// command needs its handler, its characteristic and valid arguments; their lack is a precondition
// failure. A line that is no command is only logged.
void handleHostCommand(ComBLE& comBLE, std::string_view line);

// Whether standard input has already ended without a single byte, as far as that can be known
// without waiting. To be called before the reader thread starts.
bool hostSendsNothing();

// Carries out the lines of standard input, one after the other. The end of the input ends the
// process, as "kill" does.
[[noreturn]] void readHostCommands(ComBLE& comBLE, const std::atomic<bool>& isRunning);
