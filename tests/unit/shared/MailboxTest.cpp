#include "platform/shared/Mailbox.h"

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <string>
#include <thread>
#include <vector>

namespace shared_tests {
namespace {

using platform::shared::Mailbox;

TEST(Mailbox, RunsNothingBeforeItIsServed) {
  bool hasRun = false;
  Mailbox box([] {});
  box.post([&] { hasRun = true; });
  EXPECT_FALSE(hasRun);
  box.serve();
  EXPECT_TRUE(hasRun);
}

TEST(Mailbox, KeepsTheOrderOfPosting) {
  std::string order;
  Mailbox box([] {});
  for (const char letter : {'a', 'b', 'c'}) box.post([&order, letter] { order += letter; });
  box.serve();
  EXPECT_EQ(order, "abc");
}

TEST(Mailbox, WakesOnceForAllActionsThatWait) {
  int wakes = 0;
  Mailbox box([&] { ++wakes; });
  box.post([] {});
  box.post([] {});
  EXPECT_EQ(wakes, 1);
  box.serve();
  box.post([] {});
  EXPECT_EQ(wakes, 2);
}

TEST(Mailbox, KeepsWhatAnActionPostsForTheNextTime) {
  int runs = 0;
  int wakes = 0;
  Mailbox box([&] { ++wakes; });
  box.post([&] { box.post([&] { ++runs; }); });
  box.serve();
  EXPECT_EQ(runs, 0);
  EXPECT_EQ(wakes, 2);
  box.serve();
  EXPECT_EQ(runs, 1);
}

// As the contract requires, the reading thread resets the wake-up before it serves the mailbox.
TEST(Mailbox, LosesNoneOfManyThreadsAndKeepsTheOrderOfEach) {
  constexpr int kThreads = 4;
  constexpr int kEach = 20'000;
  std::atomic<bool> isRung{false};
  Mailbox box([&] { isRung = true; });
  std::vector<std::vector<int>> taken(kThreads);
  std::latch start(kThreads);  // at the same time
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      start.arrive_and_wait();
      for (int n = 0; n < kEach; ++n) box.post([&, i, n] { taken[i].push_back(n); });
    });
  }
  const auto isAllTaken = [&] {
    std::size_t sum = 0;
    for (const auto& each : taken) sum += each.size();
    return sum == std::size_t{kThreads} * kEach;
  };
  while (!isAllTaken()) {
    while (!isRung.exchange(false)) std::this_thread::yield();
    box.serve();
  }
  for (std::thread& thread : threads) thread.join();
  for (const auto& each : taken) {
    for (int n = 0; n < kEach; ++n) ASSERT_EQ(each[static_cast<std::size_t>(n)], n);
  }
}

}  // namespace
}  // namespace shared_tests
