#include "lab/models/Stream.h"

#include <gtest/gtest.h>

namespace lab {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

TEST(Stream, SendsNothingUntilItRuns) {
  Stream stream(10);
  stream.advance(seconds(1));
  EXPECT_FALSE(stream.dueAt());
}

TEST(Stream, BeginsAtOnceAndKeepsItsPace) {
  Stream stream(10);
  stream.run(true);
  stream.advance(seconds(5));
  EXPECT_EQ(stream.dueAt(), seconds(5));
  stream.sent();
  EXPECT_EQ(stream.dueAt(), milliseconds(5100));
  stream.sent();
  // A late value does not delay the next ones.
  stream.advance(seconds(9));
  EXPECT_EQ(stream.dueAt(), milliseconds(5200));
}

TEST(Stream, NumbersItsValuesOverAllRuns) {
  Stream stream(10);
  stream.run(true);
  stream.advance(seconds(0));
  stream.sent();
  stream.run(false);
  stream.run(true);
  stream.advance(seconds(3));
  EXPECT_EQ(stream.sequence(), 1U);
  EXPECT_EQ(stream.dueAt(), seconds(3));
}

TEST(Stream, EndsARunAfterItsCount) {
  Stream stream(10);
  stream.setCount(1);
  stream.run(true);
  stream.advance(seconds(0));
  stream.sent();
  EXPECT_FALSE(stream.dueAt());
  stream.run(false);
  stream.run(true);
  stream.advance(seconds(1));
  EXPECT_TRUE(stream.dueAt());
}

TEST(Stream, TakesANewRateFromNowOn) {
  Stream stream(10);
  stream.run(true);
  stream.advance(seconds(0));
  stream.sent();
  stream.setRate(1000);
  stream.advance(seconds(2));
  EXPECT_EQ(stream.dueAt(), seconds(2));
  stream.sent();
  EXPECT_EQ(stream.dueAt(), milliseconds(2001));
}

TEST(Stream, AtARateOfZeroSendsNothing) {
  Stream stream(0);
  stream.run(true);
  stream.advance(seconds(0));
  EXPECT_FALSE(stream.dueAt());
}

}  // namespace
}  // namespace lab
