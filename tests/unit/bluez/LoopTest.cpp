// The loop on its own, with a clock that jumps when there is nothing to do.
#include "platform/bluez/Loop.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "FullPipe.h"
#include "PrivateBus.h"
#include "platform/bluez/NotifySocket.h"
#include "support/JumpingClock.h"
#include "support/PipeOutput.h"

namespace bluez_tests {
namespace {

using namespace std::chrono_literals;
using platform::Value;
using platform::bluez::Call;
using platform::bluez::Clock;
using platform::bluez::Descriptor;
using platform::bluez::Loop;
using platform::bluez::NotifySocket;
using platform::bluez::Timer;
using platform::shared::DeliveryQueue;

class Target final : public platform::shared::ValueTarget {
 public:
  void retain() override { ++held; }
  void release() override { --held; }
  void deliver(Value value) override {
    values.emplace_back(value.begin(), value.end());
    if (onDelivery) onDelivery();
  }

  int held = 0;
  std::function<void()> onDelivery;
  std::vector<std::vector<std::uint8_t>> values;
};

// Both ends of a subscription's socket: the loop's own and BlueZ's.
struct Connection {
  Connection(Loop& loop, Target& target) {
    std::array<int, 2> ends{};
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK, 0, ends.data()), 0);
    bluez = Descriptor(ends[1]);
    own = std::make_unique<NotifySocket>(loop, Descriptor(ends[0]), target, [this] {
      if (onEnd) onEnd();
      own.reset();
    });
  }

  void send(std::uint8_t value) const { EXPECT_EQ(::send(bluez.get(), &value, 1, 0), 1); }
  void sendNoBytes() const { EXPECT_EQ(::send(bluez.get(), "", 0, 0), 0); }
  void hangUp() { bluez = Descriptor(); }

  Descriptor bluez;
  std::unique_ptr<NotifySocket> own;
  std::function<void()> onEnd;
};

class LoopTest : public ::testing::Test {
 protected:
  LoopTest() {
    setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent", 1);
    makeLoop();
  }

  void makeLoop() {
    auto own = std::make_unique<support::JumpingClock>();
    clock = own.get();
    start = clock->now();
    loop = std::make_unique<Loop>(std::move(own));
  }
  void run(Clock::Duration time) { loop->runUntil(clock->now() + time); }
  void push(std::function<void()> action) { loop->deliveries().push(std::move(action)); }
  void fill() {
    const std::vector<std::uint8_t> value(platform::kLargestValue);
    while (!loop->deliveries().isFull()) loop->deliveries().push(target, value);
  }
  void shut() {
    loop->gate().follow(asOutput);
    output.fill();
  }

  Target target;
  FullPipe output;
  support::PipeOutput asOutput{output.input()};
  std::unique_ptr<Loop> loop;
  support::JumpingClock* clock = nullptr;
  Clock::TimePoint start;
};

TEST_F(LoopTest, RunsUntilTheEndAndNoLonger) {
  run(10s);
  EXPECT_EQ(clock->now(), start + 10s);
}

TEST_F(LoopTest, RunsUntilTheEndThoughATimerRingsBefore) {
  Timer timer(*loop, [] {});
  timer.start(1s);
  run(10s);
  EXPECT_EQ(clock->now(), start + 10s);
}

TEST_F(LoopTest, RunsOnceWhenTheEndIsPast) {
  bool isDelivered = false;
  bool isCarriedOut = false;
  push([&] { isDelivered = true; });
  loop->mailbox().post([&] { isCarriedOut = true; });
  loop->runUntil(start - 1s);
  EXPECT_TRUE(isDelivered);
  EXPECT_TRUE(isCarriedOut);
  EXPECT_EQ(clock->now(), start);
}

TEST_F(LoopTest, RestsWhenThereIsNothingToDo) {
  run(1h);
  EXPECT_LE(clock->polls(), 3);
}

TEST_F(LoopTest, RingsEachTimerAtItsTime) {
  std::vector<std::pair<char, Clock::Duration>> rung;
  Timer late(*loop, [&] { rung.emplace_back('l', clock->now() - start); });
  Timer early(*loop, [&] { rung.emplace_back('e', clock->now() - start); });
  Timer never(*loop, [&] { rung.emplace_back('n', clock->now() - start); });
  never.start(11s);
  early.start(1s);
  late.start(7s);
  run(10s);
  EXPECT_EQ(rung, (std::vector<std::pair<char, Clock::Duration>>{{'e', 1s}, {'l', 7s}}));
  EXPECT_FALSE(early.isRunning());
  EXPECT_TRUE(never.isRunning());
}

TEST_F(LoopTest, RingsAllTimersThatAreDueAtTheEnd) {
  int rung = 0;
  Timer first(*loop, [&] { ++rung; });
  Timer second(*loop, [&] { ++rung; });
  first.start(10s);
  second.start(10s);
  run(10s);
  EXPECT_EQ(rung, 2);
}

TEST_F(LoopTest, LetsATimerBeStartedByItsRinging) {
  std::vector<Clock::Duration> rung;
  std::optional<Timer> timer;
  timer.emplace(*loop, [&] {
    rung.push_back(clock->now() - start);
    timer->start(2s);
  });
  timer->start(1s);
  run(6s);
  EXPECT_EQ(rung, (std::vector<Clock::Duration>{1s, 3s, 5s}));
}

TEST_F(LoopTest, LetsATimerBeStoppedByAnothersRinging) {
  bool hasRung = false;
  Timer other(*loop, [&] { hasRung = true; });
  Timer timer(*loop, [&] { other.stop(); });
  timer.start(1s);
  other.start(1s + 1ms);
  run(10s);
  EXPECT_FALSE(hasRung);
  EXPECT_FALSE(other.isRunning());
}

TEST_F(LoopTest, RingsATimerThatIsStartedAnewOnceAndAtItsNewTime) {
  std::vector<Clock::Duration> rung;
  Timer timer(*loop, [&] { rung.push_back(clock->now() - start); });
  timer.start(1s);
  timer.start(3s);
  run(10s);
  EXPECT_EQ(rung, std::vector<Clock::Duration>{3s});
}

TEST_F(LoopTest, DeliversAllThatWaitsBeforeItRests) {
  std::vector<Clock::Duration> times;
  for (int i = 0; i < 100; ++i) push([&] { times.push_back(clock->now() - start); });
  run(1h);
  EXPECT_EQ(times, std::vector<Clock::Duration>(100, 0s));
}

// A socket holds only some 270 values, and the bridge's own requests must not wait either.
TEST_F(LoopTest, ReceivesWhileMuchIsToBeDelivered) {
  int delivered = 0;
  int deliveredBefore = -1;
  for (int i = 0; i < 1000; ++i) push([&] { ++delivered; });
  push([] {});
  loop->mailbox().post([&] { loop->mailbox().post([&] { deliveredBefore = delivered; }); });
  run(1s);
  EXPECT_EQ(delivered, 1000);
  EXPECT_GE(deliveredBefore, 0);
  EXPECT_LT(deliveredBefore, 200);
}

TEST_F(LoopTest, CarriesOutWhatAPostedActionPostsBeforeItRests) {
  Clock::Duration time = -1s;
  loop->mailbox().post([&] { loop->mailbox().post([&] { time = clock->now() - start; }); });
  run(1h);
  EXPECT_EQ(time, 0s);
}

TEST_F(LoopTest, RestsWhileTheOutputHoldsBack) {
  bool isDelivered = false;
  push([&] { isDelivered = true; });
  shut();
  run(1h);
  EXPECT_FALSE(isDelivered);
  EXPECT_LE(clock->polls(), 3);
}

TEST_F(LoopTest, DeliversWhenTheOutputIsReadAndNotAtTheNextTime) {
  Clock::TimePoint time;
  push([&] { time = clock->now(); });
  shut();
  clock->setOnRest([&] { output.drain(); });
  run(1h);
  EXPECT_EQ(time, start);
}

TEST_F(LoopTest, LetsOutWhatIsHeldBackWhenTheOutputIsRead) {
  class Held final : public platform::Output {
   public:
    explicit Held(int end) : end_(end) {}
    bool holdsBack() const override { return isHolding_; }
    void letOut() override { isHolding_ = false; }
    int descriptor() const override { return end_; }

   private:
    int end_;
    bool isHolding_ = true;
  };
  Held held(output.input());
  output.fill();
  loop->gate().follow(held);
  run(1s);
  EXPECT_TRUE(held.holdsBack());
  clock->setOnRest([&] { output.drain(); });
  run(1s);
  EXPECT_FALSE(held.holdsBack());
}

TEST_F(LoopTest, FollowsAnotherOutputThatHoldsBackFromThenOn) {
  shut();
  push([] {});
  run(1s);
  FullPipe second;
  support::PipeOutput asSecond(second.input());
  second.fill();
  loop->gate().follow(asSecond);
  Clock::TimePoint time;
  push([&] { time = clock->now(); });
  const Clock::TimePoint before = clock->now();
  clock->setOnRest([&] { second.drain(); });
  run(1h);
  EXPECT_EQ(time, before);
}

TEST_F(LoopTest, ReceivesNothingWhileItsQueueIsFull) {
  Connection connection(*loop, target);
  fill();
  shut();
  connection.send(1);
  run(1s);
  std::uint8_t value = 0;
  EXPECT_EQ(recv(connection.own->descriptor(), &value, 1, MSG_PEEK | MSG_DONTWAIT), 1);
  EXPECT_LE(clock->polls(), 5);
  output.drain();
  run(1s);
  EXPECT_EQ(target.values.back(), std::vector<std::uint8_t>{1});
  EXPECT_EQ(target.held, 0);
}

// A socket holds some 270 values, and the sender drops those that find no room.
TEST_F(LoopTest, LosesNothingWhereValuesComeFasterThanTheyAreDelivered) {
  constexpr std::size_t kMany = 3000;
  Connection connection(*loop, target);
  std::size_t sent = 0;
  const auto sendSome = [&] {
    for (int i = 0; i < 3 && sent < kMany; ++i) connection.send(static_cast<std::uint8_t>(sent++));
  };
  target.onDelivery = sendSome;
  sendSome();
  run(1s);
  ASSERT_EQ(target.values.size(), kMany);
  for (std::size_t i = 0; i < kMany; ++i) {
    ASSERT_EQ(target.values[i], std::vector{static_cast<std::uint8_t>(i)});
  }
}

TEST_F(LoopTest, TakesAllThatASocketHoldsBeforeItDeliversMoreOnceItLags) {
  constexpr int kMany = 200;
  Connection connection(*loop, target);
  for (int i = 0; i < kMany; ++i) connection.send(1);
  push([] {});
  std::size_t deliveredBefore = kMany;
  target.onDelivery = [&] {
    std::uint8_t next = 0;
    const ssize_t left = recv(connection.own->descriptor(), &next, 1, MSG_PEEK | MSG_DONTWAIT);
    if (left < 0) deliveredBefore = std::min(deliveredBefore, target.values.size());
  };
  run(1s);
  EXPECT_EQ(target.values.size(), kMany);
  EXPECT_EQ(deliveredBefore, 1U);
}

TEST_F(LoopTest, TakesNoMoreThanItsQueueHolds) {
  Connection connection(*loop, target);
  shut();
  fill();
  while (loop->deliveries().isFull()) loop->deliveries().deliverNext();
  for (int i = 0; i < 200; ++i) connection.send(1);
  run(1s);
  EXPECT_TRUE(loop->deliveries().isFull());
  std::uint8_t next = 0;
  EXPECT_EQ(recv(connection.own->descriptor(), &next, 1, MSG_PEEK | MSG_DONTWAIT), 1);
}

// Such a value reads like the end of the connection.
TEST_F(LoopTest, TellsValuesOfNoBytesFromTheEndWhileItLags) {
  Connection connection(*loop, target);
  for (int i = 0; i < 20; ++i) {
    connection.send(1);
    connection.sendNoBytes();
  }
  run(1s);
  ASSERT_EQ(target.values.size(), 40U);
  EXPECT_TRUE(target.values.back().empty());
  EXPECT_NE(connection.own, nullptr);
}

TEST_F(LoopTest, TakesNoEndForAValueWhereItCameAfterTheLook) {
  Connection first(*loop, target);
  Connection second(*loop, target);
  first.send(1);
  second.send(2);
  first.onEnd = [&] { second.hangUp(); };
  first.hangUp();
  run(1s);
  EXPECT_EQ(target.values, (std::vector<std::vector<std::uint8_t>>{{1}, {2}}));
  EXPECT_EQ(second.own, nullptr);
}

TEST_F(LoopTest, ForgetsASocketThatIsGone) {
  auto connection = std::make_unique<Connection>(*loop, target);
  connection->send(1);
  connection.reset();
  fill();
  shut();
  run(1s);
  output.drain();
  run(1s);
  EXPECT_EQ(target.values.front(), std::vector<std::uint8_t>{1});
  EXPECT_EQ(target.held, 0);
}

TEST_F(LoopTest, TakesWhatWaitsInASocketThatIsGoneBehindAValueOfNoBytes) {
  auto connection = std::make_unique<Connection>(*loop, target);
  connection->sendNoBytes();
  connection->send(1);
  connection.reset();
  run(1s);
  EXPECT_EQ(target.values, (std::vector<std::vector<std::uint8_t>>{{}, {1}}));
}

TEST_F(LoopTest, CallsNoSocketThatAnotherHasJustRemoved) {
  Connection first(*loop, target);
  Connection second(*loop, target);
  first.onEnd = [&] { second.own.reset(); };
  second.onEnd = [&] { first.own.reset(); };
  for (Connection* each : {&first, &second}) {
    each->send(1);
    each->hangUp();
  }
  run(1s);
  EXPECT_EQ(target.values.size(), 2U);
}

TEST_F(LoopTest, ForgetsWhatWaitsOnceItIsClosed) {
  push([] { FAIL(); });
  loop->close();
  EXPECT_TRUE(loop->deliveries().isEmpty());
  push([] { FAIL(); });
  run(1s);
}

// With a bus daemon, which is another process: the clock waits for its answers.
class LoopOnABus : public LoopTest {
 protected:
  LoopOnABus() { makeLoop(); }

  platform::bluez::Message question() {
    sd_bus_message* message = nullptr;
    EXPECT_GE(
        sd_bus_message_new_method_call(loop->useBus().get(), &message, "org.freedesktop.DBus",
                                       "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetId"),
        0);
    return platform::bluez::Message(message);
  }
  // Makes a call that the daemon answers.
  void ask(Call::OnReply onReply) { call.start(loop->useBus(), question(), std::move(onReply)); }

  // Waits until this many bytes of answers can be read.
  void waitForAnswers(int bytes) {
    sd_bus_flush(loop->useBus().get());
    const int descriptor = sd_bus_get_fd(loop->useBus().get());
    int held = 0;
    for (int i = 0; i < 20'000 && held < bytes; ++i) {
      pollfd nothing{-1, 0, 0};
      poll(&nothing, 1, 1);
      ASSERT_EQ(ioctl(descriptor, FIONREAD, &held), 0);
    }
    ASSERT_GE(held, bytes);
  }
  void noteAnswer() {
    ask([this](sd_bus_message* /*reply*/) { answered = clock->now(); });
    clock->setIsAwaiting([this] { return !answered; });
  }

  PrivateBus bus;
  Call call;
  std::optional<Clock::TimePoint> answered;
};

TEST_F(LoopOnABus, ServesItAsSoonAsItIsReady) {
  noteAnswer();
  run(1h);
  EXPECT_EQ(answered, start);
}

TEST_F(LoopOnABus, RestsOnceAllIsServed) {
  noteAnswer();
  run(1h);
  const int before = clock->polls();
  run(1h);
  EXPECT_LE(clock->polls() - before, 3);
}

TEST_F(LoopOnABus, RestsWhileNobodyAnswers) {
  bus.stop();
  ask([](sd_bus_message* /*reply*/) {});
  run(1h);
  EXPECT_LE(clock->polls(), 5);
}

TEST_F(LoopOnABus, ServesNothingWhileItsQueueIsFull) {
  noteAnswer();
  run(1s);
  fill();
  shut();
  answered.reset();
  ask([this](sd_bus_message* /*reply*/) { answered = clock->now(); });
  clock->setIsAwaiting([] { return false; });
  sd_bus_flush(loop->useBus().get());
  pollfd input{sd_bus_get_fd(loop->useBus().get()), POLLIN, 0};
  ASSERT_EQ(poll(&input, 1, 20'000), 1);
  Timer timer(*loop, [] {});
  timer.start(1s);
  const int before = clock->polls();
  run(10s);
  EXPECT_FALSE(answered);
  EXPECT_LE(clock->polls() - before, 10);
  output.drain();
  run(1s);
  EXPECT_TRUE(answered);
}

// A device may take longer over an answer than the 25 s that sd-bus allows by itself.
TEST_F(LoopOnABus, MakesCallsWithoutTheLibrarysTimeLimit) {
  noteAnswer();
  run(1s);
  ask([](sd_bus_message* /*reply*/) {});
  std::uint64_t time = 0;
  ASSERT_GE(sd_bus_get_timeout(loop->useBus().get(), &time), 0);
  EXPECT_EQ(time, std::numeric_limits<std::uint64_t>::max());
}

TEST_F(LoopOnABus, RestsThoughAMessageComesJustAsItsQueueIsFull) {
  noteAnswer();
  run(1s);
  clock->setIsAwaiting([] { return false; });
  const platform::bluez::Bus& held = loop->useBus();
  const platform::bluez::Message asked = question();
  run(1s);
  shut();
  loop->mailbox().post([&] {
    call.start(held, asked, [](sd_bus_message* /*reply*/) {});
    sd_bus_flush(held.get());
    pollfd input{sd_bus_get_fd(held.get()), POLLIN, 0};
    EXPECT_EQ(poll(&input, 1, 20'000), 1);
    fill();
  });
  const int before = clock->polls();
  run(1h);
  EXPECT_LE(clock->polls() - before, 10);
}

TEST_F(LoopOnABus, ReportsItsLossOnce) {
  int losses = 0;
  loop->setOnBusLost([&] { ++losses; });
  noteAnswer();
  run(1s);
  bus.kill();
  clock->setIsAwaiting([&] { return losses == 0; });
  run(1h);
  EXPECT_EQ(losses, 1);
  EXPECT_EQ(loop->useBus().get(), nullptr);
  EXPECT_LE(clock->polls(), 100);
}

TEST_F(LoopOnABus, ReportsALossThatShowedWhenSending) {
  std::optional<Clock::TimePoint> loss;
  loop->setOnBusLost([&] { loss = clock->now(); });
  noteAnswer();
  run(1s);
  bus.kill();
  ask([](sd_bus_message* /*reply*/) {});
  const Clock::TimePoint before = clock->now();
  const int pollsBefore = clock->polls();
  run(1h);
  EXPECT_EQ(loss, before);
  EXPECT_LE(clock->polls() - pollsBefore, 10);
}

TEST_F(LoopOnABus, DeliversWhileMuchHasComeOnTheBus) {
  constexpr int kMany = 300;
  constexpr int kLeastSize = 64;  // of an answer, in bytes
  noteAnswer();
  run(1s);
  clock->setIsAwaiting([] { return false; });
  int answers = 0;
  int answersBefore = kMany;
  std::vector<Call> calls(kMany);
  for (Call& each : calls) {
    each.start(loop->useBus(), question(), [&](sd_bus_message* /*reply*/) {
      if (++answers == 1) push([&] { answersBefore = answers; });
    });
  }
  waitForAnswers(kMany * kLeastSize);
  run(1s);
  EXPECT_LT(answersBefore, 100);
}

TEST_F(LoopOnABus, LeavesItWhenItIsClosed) {
  noteAnswer();
  run(1s);
  loop->close();
  EXPECT_EQ(loop->useBus().get(), nullptr);
}

}  // namespace
}  // namespace bluez_tests
