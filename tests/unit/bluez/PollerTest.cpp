#include "platform/bluez/Poller.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

#include <functional>

#include "platform/bluez/SystemClock.h"

namespace bluez_tests {
namespace {

using platform::bluez::Clock;
using platform::bluez::Descriptor;
using platform::bluez::Poller;
using platform::bluez::SystemClock;
using namespace std::chrono_literals;

// One end of a connection, watched; the other is the test's.
class Watched final : public Poller::Source {
 public:
  explicit Watched(Poller& poller) : poller_(poller) {
    int ends[2];
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends), 0);
    own_ = Descriptor(ends[0]);
    other_ = Descriptor(ends[1]);
  }
  ~Watched() override { watch(0); }

  void watch(short events) { poller_.watch(own_.get(), *this, events); }
  void send() const { EXPECT_EQ(::send(other_.get(), "x", 1, 0), 1); }
  void hangUp() { other_ = Descriptor(); }

  void handle(short events) override {
    ++times;
    last = events;
    if (onHandle) onHandle();
  }

  int times = 0;
  short last = 0;
  std::function<void()> onHandle;

 private:
  Poller& poller_;
  Descriptor own_;
  Descriptor other_;
};

class PollerTest : public ::testing::Test {
 protected:
  Clock::TimePoint in(Clock::Duration time) { return poller.clock().now() + time; }

  Poller poller{std::make_unique<SystemClock>()};
  Watched first{poller};
  Watched second{poller};
};

TEST_F(PollerTest, CallsTheSourcesThatAreReadyAndNoOthers) {
  first.watch(POLLIN);
  second.watch(POLLIN);
  second.send();
  EXPECT_FALSE(poller.waitUntil(in(1h)));
  EXPECT_EQ(first.times, 0);
  EXPECT_EQ(second.times, 1);
  EXPECT_EQ(second.last, POLLIN);
}

TEST_F(PollerTest, ReportsOnlyTheEventsThatAreWatchedFor) {
  first.send();
  first.watch(POLLOUT);
  poller.look(in(1h));
  EXPECT_EQ(first.last, POLLOUT);
  first.watch(POLLIN | POLLOUT);
  poller.look(in(1h));
  EXPECT_EQ(first.last, POLLIN | POLLOUT);
  first.watch(0);
  poller.look(in(1h));
  EXPECT_EQ(first.times, 2);
}

TEST_F(PollerTest, ReportsAHangUp) {
  first.watch(POLLIN);
  first.hangUp();
  EXPECT_FALSE(poller.waitUntil(in(1h)));
  EXPECT_NE(first.last & POLLHUP, 0);
}

TEST_F(PollerTest, DoesNotCallASourceThatAnotherHasJustRemoved) {
  for (Watched* each : {&first, &second}) {
    each->watch(POLLIN);
    each->send();
  }
  first.onHandle = [&] { second.watch(0); };
  second.onHandle = [&] { first.watch(0); };
  poller.look(in(1h));
  EXPECT_EQ(first.times + second.times, 1);
}

TEST_F(PollerTest, KnowsWhenTheTimeHasCome) {
  EXPECT_FALSE(poller.look(in(1h)));
  const Clock::TimePoint soon = in(1ms);
  EXPECT_TRUE(poller.waitUntil(soon));
  EXPECT_GE(poller.clock().now(), soon);
  EXPECT_FALSE(poller.look(in(1h)));
}

TEST_F(PollerTest, DoesNotWaitForATimeThatIsPast) {
  EXPECT_TRUE(poller.waitUntil(in(-1h)));
  EXPECT_TRUE(poller.waitUntil({}));
  EXPECT_TRUE(poller.waitUntil({}));
}

TEST(PollerFromItsStart, DoesNotWaitForTheEarliestTime) {
  EXPECT_TRUE(Poller(std::make_unique<SystemClock>()).waitUntil({}));
}

}  // namespace
}  // namespace bluez_tests
