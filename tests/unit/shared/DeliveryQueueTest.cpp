#include "platform/shared/DeliveryQueue.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace shared_tests {
namespace {

using platform::Value;
using platform::shared::DeliveryQueue;
using Bytes = std::vector<std::uint8_t>;

class Target final : public platform::shared::ValueTarget {
 public:
  void retain() override { ++retained; }
  void release() override { --retained; }
  void deliver(Value value) override {
    values.emplace_back(value.begin(), value.end());
    if (onDeliver) onDeliver();
  }

  int retained = 0;
  std::vector<Bytes> values;
  std::function<void()> onDeliver;
};

Bytes bytesOf(std::size_t size, int seed) {
  Bytes bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(seed + int(i));
  return bytes;
}

TEST(DeliveryQueue, KeepsTheOrderOverManyBlocks) {
  Target target;
  DeliveryQueue queue;
  std::vector<Bytes> sent;
  for (int i = 0; i < 5000; ++i) {
    sent.push_back(bytesOf(static_cast<std::size_t>(i) % 513, i));
    queue.push(target, sent.back());
  }
  EXPECT_EQ(target.retained, 5000);
  while (!queue.isEmpty()) queue.deliverNext();
  EXPECT_EQ(target.values, sent);
  EXPECT_EQ(target.retained, 0);
}

TEST(DeliveryQueue, KeepsTheOrderOfValuesAndActions) {
  Target target;
  DeliveryQueue queue;
  std::string order;
  target.onDeliver = [&] { order += 'v'; };
  queue.push(target, Bytes{1});
  queue.push([&] { order += 'a'; });
  queue.push(target, Bytes{2});
  while (!queue.isEmpty()) queue.deliverNext();
  EXPECT_EQ(order, "vav");
}

// A value of kLargestValue fits, also when it is the last of many.
TEST(DeliveryQueue, TakesTheLongestValueAndNoLonger) {
  Target target;
  DeliveryQueue queue;
  std::vector<Bytes> sent;
  for (int i = 0; i < 500; ++i) {
    sent.push_back(bytesOf(platform::kLargestValue, i));
    queue.push(target, sent.back());
    queue.push(target, Bytes(platform::kLargestValue + 1));
  }
  while (!queue.isEmpty()) queue.deliverNext();
  EXPECT_EQ(target.values, sent);
}

TEST(DeliveryQueue, TakesMoreEachTimeThatItWasEmptied) {
  Target target;
  DeliveryQueue queue;
  std::vector<Bytes> sent;
  for (int i = 0; i < 2000; ++i) {
    sent.push_back(bytesOf(100, i));
    queue.push(target, sent.back());
    ASSERT_FALSE(queue.isEmpty());
    queue.deliverNext();
    ASSERT_TRUE(queue.isEmpty());
  }
  EXPECT_EQ(target.values, sent);
}

TEST(DeliveryQueue, TakesMoreWhileItDelivers) {
  Target target;
  DeliveryQueue queue;
  int more = 3000;
  target.onDeliver = [&] {
    if (more-- > 0) queue.push(target, Bytes(100, 1));
  };
  queue.push(target, Bytes(100, 1));
  queue.push(target, Bytes(100, 1));
  while (!queue.isEmpty()) queue.deliverNext();
  EXPECT_EQ(target.values.size(), 3002U);
}

TEST(DeliveryQueue, HoldsATargetUntilItsValueIsDelivered) {
  Target target;
  DeliveryQueue queue;
  int held = 0;
  target.onDeliver = [&] { held = target.retained; };
  queue.push(target, Bytes{1});
  queue.deliverNext();
  EXPECT_EQ(held, 1);
  EXPECT_EQ(target.retained, 0);
}

// Tests that play the end of the process throw from a callback.
TEST(DeliveryQueue, LetsGoOfATargetWhoseCallbackThrows) {
  Target target;
  DeliveryQueue queue;
  target.onDeliver = [] { throw 1; };
  queue.push(target, Bytes{1});
  EXPECT_THROW(queue.deliverNext(), int);
  EXPECT_EQ(target.retained, 0);
}

TEST(DeliveryQueue, LetsGoOfWhatAForgottenActionHolds) {
  DeliveryQueue queue;
  auto thing = std::make_shared<int>();
  const std::weak_ptr<int> watched = thing;
  queue.push([thing = std::move(thing)] {});
  EXPECT_FALSE(watched.expired());
  queue.clear();
  EXPECT_TRUE(watched.expired());
}

TEST(DeliveryQueue, MayBeClearedByWhatItDelivers) {
  Target target;
  DeliveryQueue queue;
  target.onDeliver = [&] { queue.clear(); };
  for (int i = 0; i < 2000; ++i) queue.push(target, Bytes(100, 1));
  queue.push([] { FAIL(); });
  queue.deliverNext();
  EXPECT_TRUE(queue.isEmpty());
  EXPECT_EQ(target.values.size(), 1U);
  EXPECT_EQ(target.retained, 0);
}

TEST(DeliveryQueue, IsFullAtItsLimitAndNotAfterItWasEmptied) {
  Target target;
  DeliveryQueue queue;
  std::size_t held = 0;
  while (!queue.isFull()) {
    queue.push(target, Bytes(512, 1));
    held += 512;
  }
  EXPECT_GT(held, DeliveryQueue::kLimit * 9 / 10);
  EXPECT_LE(held, DeliveryQueue::kLimit);
  queue.deliverNext();
  EXPECT_FALSE(queue.isFull());
}

TEST(DeliveryQueue, CountsActionsAsWell) {
  DeliveryQueue queue;
  std::size_t count = 0;
  while (!queue.isFull() && count < 1'000'000) {
    queue.push([] {});
    ++count;
  }
  EXPECT_TRUE(queue.isFull());
  queue.clear();
  EXPECT_TRUE(queue.isEmpty());
}

TEST(DeliveryQueue, TakesNothingOnceItIsClosed) {
  Target target;
  DeliveryQueue queue;
  queue.push(target, Bytes{1});
  queue.close();
  queue.push(target, Bytes{1});
  queue.push([] {});
  EXPECT_TRUE(queue.isEmpty());
  EXPECT_EQ(target.retained, 0);
}

}  // namespace
}  // namespace shared_tests
