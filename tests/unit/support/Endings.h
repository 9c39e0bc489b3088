// Tests of how the process ends. What is acted out runs in a child process; the entries are
// everything that it may write and call before its end.
#pragma once

#include <functional>
#include <source_location>
#include <string>

#include "tests/unit/support/Journal.h"
#include "tests/unit/support/Lines.h"

namespace unit {

// A precondition failure: SIGABRT, nothing on standard error, nothing after the given entries.
void expectAbort(Journal& journal, const std::function<void()>& act, const Entries& before = {},
                 std::source_location where = std::source_location::current());

// A deliberate end: status 0, nothing on standard error, nothing after the given entries.
void expectEnd(Journal& journal, const std::function<void()>& act, const Entries& before,
               std::source_location where = std::source_location::current());

// Makes the bytes the standard input of this process. For use in a child.
void replaceStandardInput(const std::string& bytes);

}  // namespace unit
