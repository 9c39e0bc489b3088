// Tests of how the process ends. act runs in a child process; before are the journal entries of all
// that it has to write and call before its end.
#pragma once

#include <functional>
#include <string>

#include "tests/unit/core/support/Journal.h"
#include "tests/unit/core/support/Lines.h"

namespace unit {

// The test's place in the source, for failure messages; clang 14 has no std::source_location.
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

// Gives this process, which is to be a child, a standard input that contains the bytes.
void replaceStandardInput(const std::string& bytes);

}  // namespace unit
