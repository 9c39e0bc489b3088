#include "scope/watch/Backlog.h"

#include <gtest/gtest.h>

namespace scope {
namespace {

using namespace std::chrono_literals;

TEST(Backlog, GivesLinesInTheirOrder) {
  Backlog backlog(1000);
  backlog.add("a", 2);
  backlog.add("b", 3);
  EXPECT_EQ(*backlog.get(0, 0ms).text, "a\n");
  EXPECT_EQ(*backlog.get(1, 0ms).text, "b\n");
  EXPECT_EQ(backlog.get(1, 0ms).values, 2U);
  EXPECT_EQ(backlog.get(2, 0ms).text, nullptr);
  EXPECT_EQ(backlog.get(2, 0ms).values, 5U);
}

TEST(Backlog, TellsWhatASlowPageHasMissed) {
  Backlog backlog(10);
  for (int i = 0; i < 100; ++i) backlog.add("1234", 7);
  const Backlog::Line line = backlog.get(3, 0ms);
  EXPECT_EQ(line.number, 98U);
  EXPECT_EQ(line.values, 98U * 7U);
}

TEST(Backlog, KeepsALineThatIsLongerThanTheBound) {
  Backlog backlog(3);
  backlog.add("longer than that", 1);
  EXPECT_NE(backlog.get(0, 0ms).text, nullptr);
}

TEST(Backlog, DoesNotLetAnybodyWaitBehindItsEnd) {
  Backlog backlog(10);
  backlog.add("a", 1);
  backlog.end();
  EXPECT_NE(backlog.get(0, 1h).text, nullptr);
  EXPECT_EQ(backlog.get(1, 1h).text, nullptr);
  EXPECT_TRUE(backlog.hasEnded());
}

}  // namespace
}  // namespace scope
