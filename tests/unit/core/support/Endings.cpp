#include "tests/unit/core/support/Endings.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "tests/unit/core/support/NamelessFile.h"

#define NAME_OF(text) #text
#define VALUE_OF(macro) NAME_OF(macro)

namespace {

const pid_t testProcess = getpid();

}  // namespace

// Replaces the C library's _Exit(). A deliberate end has status 0: if it happened in the test
// program itself instead of a child, the run would count as a success. The replacement is defined
// by its linker name, since systems declare _Exit with different exception specifications.
extern "C" void exitOfTests(int status) asm(VALUE_OF(__USER_LABEL_PREFIX__) "_Exit");

extern "C" void exitOfTests(int status) {
  if (getpid() == testProcess) {
    std::fputs("a test has ended the whole test program\n", stderr);
    std::abort();
  }
  _exit(status);
}

namespace unit {

namespace {

void keepNoCore() {
  const rlimit none{0, 0};
  setrlimit(RLIMIT_CORE, &none);
}

}  // namespace

void expectAbort(Journal& journal, const std::function<void()>& act, const Entries& before,
                 Place where) {
  const testing::ScopedTrace trace(where.file, where.line, "has to stop the process");
  journal.clear();
  EXPECT_EXIT((keepNoCore(), act()), testing::KilledBySignal(SIGABRT), testing::Eq(""));
  EXPECT_EQ(journal.take(), before);
}

void expectEnd(Journal& journal, const std::function<void()>& act, const Entries& before,
               Place where) {
  const testing::ScopedTrace trace(where.file, where.line, "has to end the process with status 0");
  journal.clear();
  EXPECT_EXIT(act(), testing::ExitedWithCode(EXIT_SUCCESS), testing::Eq(""));
  EXPECT_EQ(journal.take(), before);
}

void replaceStandardInput(const std::string& bytes) {
  const int file = openNamelessFile();
  const bool done = file >= 0 &&
                    write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()) &&
                    lseek(file, 0, SEEK_SET) == 0 && dup2(file, STDIN_FILENO) == STDIN_FILENO;
  if (!done) _exit(EXIT_FAILURE);
  close(file);
}

}  // namespace unit
