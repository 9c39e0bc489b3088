// The platform's clock.
#include "contract/ContractTest.h"

namespace contract {

using namespace std::chrono_literals;

using Clock = ContractTest;

TEST_F(Clock, ReachesTheDateThatTheRunLoopServedUntil) {
  const double date = platform().now() + 0.3;
  platform().runUntil(date);
  EXPECT_GE(platform().now() + 0.001, date);
}

TEST_F(Clock, DoesNotWaitForADateThatIsPast) {
  const double before = platform().now();
  platform().runUntil(before - 100);
  EXPECT_LT(platform().now(), before + 50);
}

TEST_F(Clock, GoesOnDuringASleep) {
  const double before = platform().now();
  platform().sleep(50ms);
  EXPECT_GE(platform().now() - before, 0.049);
}

TEST_F(Clock, SleepServesNothing) {
  manager = platform().makeCentralManager(recorder);
  platform().sleep(200ms);
  EXPECT_EQ(recorder.count(What::state), 0U);
  EXPECT_TRUE(waitFor(What::state));
}

}  // namespace contract
