// The manager's state.
#include "contract/ContractTest.h"

namespace contract {

using State = ContractTest;

TEST_F(State, IsUnknownBeforeTheFirstCallback) {
  manager = platform().makeCentralManager(recorder);
  EXPECT_EQ(manager->state(), CBManagerState::unknown);
  EXPECT_EQ(recorder.count(What::state), 0U);
}

TEST_F(State, IsFirstReportedFromTheRunLoop) {
  manager = platform().makeCentralManager(recorder);
  ASSERT_TRUE(waitFor(What::state));
  EXPECT_EQ(recorder.last(What::state).state, CBManagerState::poweredOn);
  EXPECT_EQ(manager->state(), CBManagerState::poweredOn);
}

TEST_F(State, IsReportedOnceWhileItDoesNotChange) {
  start();
  settle();
  EXPECT_EQ(recorder.count(What::state), 1U);
}

TEST_F(State, OfARadioThatIsOffFromTheStartIsPoweredOff) {
  bench->setPowered(false);
  manager = platform().makeCentralManager(recorder);
  ASSERT_TRUE(waitFor(What::state));
  EXPECT_EQ(recorder.last(What::state).state, CBManagerState::poweredOff);
}

TEST_F(State, ChangesAreReported) {
  start();
  bench->setPowered(false);
  ASSERT_TRUE(waitFor(What::state, 2));
  EXPECT_EQ(recorder.last(What::state).state, CBManagerState::poweredOff);
  bench->setPowered(true);
  ASSERT_TRUE(waitFor(What::state, 3));
  EXPECT_EQ(recorder.last(What::state).state, CBManagerState::poweredOn);
  EXPECT_EQ(manager->state(), CBManagerState::poweredOn);
}

TEST_F(State, IsReportedAgainToALaterManager) {
  start();
  restart();
  start();
  EXPECT_EQ(recorder.count(What::state), 1U);
}

}  // namespace contract
