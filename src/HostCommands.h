// The host's side of standard input: text commands, one per line, exact and case-sensitive. All but
// hostSendsNothing runs on the reader thread.
#pragma once

#include <atomic>
#include <string_view>

#include "ComBLE.h"

// Carries out one line, given without its terminator. Its log line comes out before: a host that
// does not read its answers is not asked for more commands. What a device command needs has to be
// there (the handler, the characteristic, well-formed arguments); a line that is no command is
// logged.
void handleHostCommand(ComBLE& comBLE, std::string_view line);

// Whether standard input is at its end before anything has been read from it, as far as can be told
// without waiting. To be asked before the reader starts.
bool hostSendsNothing();

// Reads standard input until its end, which ends the process, as does "kill". One command is done
// before the next line is read.
[[noreturn]] void readHostCommands(ComBLE& comBLE, const std::atomic<bool>& isRunning);
