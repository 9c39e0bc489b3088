// Tests of how the process ends. What is acted out runs in a child process; the entries are
// everything that it may write and call before its end.
#pragma once

#include <functional>
#include <string>

#include "tests/unit/core/support/Journal.h"
#include "tests/unit/core/support/Lines.h"

namespace unit {

// Where a test stands; clang 14 has no std::source_location.
struct Place {
  const char* file;
  int line;

  static constexpr Place current(const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
    return {file, line};
  }
};

// A precondition failure: SIGABRT, nothing on standard error, nothing after the given entries.
void expectAbort(Journal& journal, const std::function<void()>& act, const Entries& before = {},
                 Place where = Place::current());

// A deliberate end: status 0, nothing on standard error, nothing after the given entries.
void expectEnd(Journal& journal, const std::function<void()>& act, const Entries& before,
               Place where = Place::current());

// Makes the bytes the standard input of this process. For use in a child.
void replaceStandardInput(const std::string& bytes);

}  // namespace unit
