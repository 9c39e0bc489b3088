// Runs the tests. The code under test and the test framework write to the same standard output, so
// the framework's reports are kept out of the journals.
#include <gtest/gtest.h>

#include <cstdio>

#include "tests/unit/core/support/Journal.h"

namespace {

class BeforeReport final : public testing::EmptyTestEventListener {
  void OnTestPartResult(const testing::TestPartResult&) override { unit::suspendJournal(); }
};

class AfterReport final : public testing::EmptyTestEventListener {
  void OnTestPartResult(const testing::TestPartResult&) override { unit::resumeJournal(); }
};

}  // namespace

int main(int argc, char** argv) {
  std::setbuf(stdout, nullptr);
  testing::InitGoogleTest(&argc, argv);
  auto& listeners = testing::UnitTest::GetInstance()->listeners();
  auto* printer = listeners.Release(listeners.default_result_printer());
  listeners.Append(new BeforeReport);
  listeners.Append(printer);
  listeners.Append(new AfterReport);
  return RUN_ALL_TESTS();
}
