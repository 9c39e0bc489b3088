#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>

#include "BluezTest.h"
#include "Output.h"
#include "support/AllocationCount.h"
#include "support/PipeOutput.h"

namespace bluez_tests {
namespace {

using namespace std::chrono_literals;

class BluezSubscribe : public BluezTest {
 protected:
  void SetUp() override { connectAndDiscover(); }
  void TearDown() override { closeSocket(); }

  const std::string stream = std::string(kDevice) + "/service000a/char000b";
  const std::string other = std::string(kDevice) + "/service000a/char000d";

  // Subscribes with a socket; the test has its other end.
  void acquire() {
    bluez->on(stream, "AcquireNotify",
              [this](OwnedMessage call) { socket = bluez->replySocket(call); });
    subscribe();
    EXPECT_FALSE(confirmations.back());
  }

  // Subscribes with signals.
  void listen() {
    bluez->on(stream, "AcquireNotify", [this](OwnedMessage call) {
      bluez->refuse(call, "org.bluez.Error.NotSupported", "Operation is not supported");
    });
    subscribe();
    EXPECT_FALSE(confirmations.back());
  }

  void subscribe() {
    const std::size_t before = confirmations.size();
    peripheral->setNotifyValue(true, at(kStream));
    ASSERT_TRUE(waitUntil([&] { return confirmations.size() == before + 1; }));
  }

  void send(const Bytes& value) const {
    ASSERT_EQ(::send(socket, value.data(), value.size(), 0), static_cast<ssize_t>(value.size()));
  }
  void signal(const Bytes& value) {
    bluez->signalChange(stream, kCharacteristicInterface, {{"Value", value}});
  }
  void closeSocket() {
    if (socket >= 0) close(socket);
    socket = -1;
  }

  int socket = -1;
};

// The device has left the subscription to kStream unanswered for 5 s, so that later requests are
// carried out before it.
class BluezLateSubscription : public BluezSubscribe {
 protected:
  void SetUp() override {
    BluezSubscribe::SetUp();
    bluez->on(stream, "AcquireNotify", [this](OwnedMessage call) { held = std::move(call); });
    bluez->on(other, "ReadValue", [this](OwnedMessage call) { bluez->replyValue(call, {2}); });
    peripheral->setNotifyValue(true, at(kStream));
    readOther();
    pass(4s);
    settle();
    EXPECT_TRUE(told.empty());
    leap(1s);
    ASSERT_TRUE(waitUntil([&] { return !told.empty(); }));
  }

  void readOther() { peripheral->readValue(at(kOther)); }

  OwnedMessage held;
};

TEST_F(BluezSubscribe, DeliversWhatTheSocketBrings) {
  acquire();
  const std::vector<Bytes> sent{{1}, {1}, {}, {2, 3}, {}, {}, Bytes(514, 9)};
  for (const Bytes& value : sent) send(value);
  ASSERT_TRUE(waitUntil([&] { return valueEvents.size() == sent.size(); }));
  EXPECT_EQ(values(), sent);
}

TEST_F(BluezSubscribe, DeliversTheLastValuesOfASocketThatEnds) {
  acquire();
  std::vector<Bytes> sent;
  for (std::uint8_t i = 0; i < 40; ++i) sent.push_back({i, 1});
  sent[20] = {};
  for (const Bytes& value : sent) send(value);
  closeSocket();
  settle();
  EXPECT_EQ(values(), sent);
}

TEST_F(BluezSubscribe, DropsAPacketThatIsTooLongForAValue) {
  acquire();
  send(Bytes(515, 1));
  send({2});
  ASSERT_TRUE(waitUntil([&] { return !valueEvents.empty(); }));
  EXPECT_EQ(values(), std::vector<Bytes>{{2}});
}

TEST_F(BluezSubscribe, AllocatesNothingForAValue) {
  acquire();
  valueEvents.reserve(3000);
  const auto sendSome = [&](int count) {
    for (int i = 0; i < count; ++i) {
      send({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18});
      platform->runUntil(0);
    }
  };
  peripheral->setDelegate(nullptr);  // the test's own delegate would allocate to keep the values
  sendSome(10);
  Bytes value(18);
  const std::size_t before = support::allocationCount();
  for (int i = 0; i < 2000; ++i) {
    ASSERT_EQ(::send(socket, value.data(), value.size(), 0), 18);
    platform->runUntil(0);
  }
  EXPECT_EQ(support::allocationCount(), before);
}

// bluetoothd has written the socket's value before it sends the signal.
TEST_F(BluezSubscribe, DeliversTheValuesOfANewSocketBeforeALaterSignal) {
  bluez->on(other, "AcquireNotify", [this](OwnedMessage call) {
    bluez->refuse(call, "org.bluez.Error.NotSupported", "Operation is not supported");
  });
  peripheral->setNotifyValue(true, at(kOther));
  ASSERT_TRUE(waitUntil([&] { return confirmations.size() == 1; }));
  bluez->on(stream, "AcquireNotify", [&](OwnedMessage call) {
    socket = bluez->replySocket(call);
    send({1});
    bluez->signalChange(other, kCharacteristicInterface, {{"Value", Bytes{2}}});
  });
  subscribe();
  ASSERT_TRUE(waitUntil([&] { return valueEvents.size() == 2; }));
  EXPECT_EQ(values(), (std::vector<Bytes>{{1}, {2}}));
}

TEST_F(BluezLateSubscription, HoldsNoOtherRequestUp) {
  EXPECT_EQ(told, std::vector<std::string>{"value"});
}

TEST_F(BluezLateSubscription, IsConfirmedBeforeItsFirstValue) {
  socket = bluez->replySocket(held);
  send({1});
  ASSERT_TRUE(waitUntil([&] { return told.size() == 3; }));
  EXPECT_EQ(told, (std::vector<std::string>{"value", "confirmed", "value"}));
  EXPECT_EQ(values().back(), Bytes{1});
}

TEST_F(BluezLateSubscription, IsConfirmedForAsLongAsTheLinkCanAnswer) {
  pass(29s);
  settle();
  EXPECT_EQ(told, std::vector<std::string>{"value"});
  socket = bluez->replySocket(held);
  ASSERT_TRUE(waitUntil([&] { return told.size() == 2; }));
  EXPECT_EQ(told.back(), "confirmed");
}

TEST_F(BluezLateSubscription, IsRefusedWhenTheLinkCanNoLongerAnswer) {
  pass(30s);
  ASSERT_TRUE(waitUntil([&] { return told.size() == 2; }));
  EXPECT_EQ(told, (std::vector<std::string>{"value", "refused"}));
  peripheral->setNotifyValue(true, at(kStream));  // a new attempt is made
  EXPECT_TRUE(waitUntil([&] { return bluez->count(stream, "AcquireNotify") == 2; }));
}

// The device answers one request after the other.
TEST_F(BluezLateSubscription, HasItsWholeTimeOnceTheOneBeforeItIsDecided) {
  OwnedMessage next;
  bluez->on(other, "AcquireNotify", [&](OwnedMessage call) { next = std::move(call); });
  peripheral->setNotifyValue(true, at(kOther));
  pass(25s);
  settle();
  socket = bluez->replySocket(held);
  ASSERT_TRUE(waitUntil([&] { return told.size() == 2; }));
  pass(25s);
  settle();
  EXPECT_EQ(told, (std::vector<std::string>{"value", "confirmed"}));
  close(bluez->replySocket(next));
  ASSERT_TRUE(waitUntil([&] { return told.size() == 3; }));
  EXPECT_EQ(told.back(), "confirmed");
}

// BlueZ may have hung while the device's answer waited in it.
TEST_F(BluezLateSubscription, IsNotRefusedBeforeBluezCouldPassOnTheAnswer) {
  bluez->on(kDevice, "Get", [&](OwnedMessage roundTrip) {
    bluez->refuse(roundTrip, SD_BUS_ERROR_FAILED, "of no interest");
    if (socket < 0) socket = bluez->replySocket(held);
  });
  pass(30s);
  ASSERT_TRUE(waitUntil([&] { return told.size() == 2; }));
  settle();
  EXPECT_EQ(told, (std::vector<std::string>{"value", "confirmed"}));
}

TEST_F(BluezLateSubscription, IsRefusedWithTheErrorOfTheDevice) {
  bluez->refuse(held, "org.bluez.Error.Failed", "Operation failed with ATT error: 0x05");
  ASSERT_TRUE(waitUntil([&] { return told.size() == 2; }));
  ASSERT_TRUE(confirmations.front());
  EXPECT_EQ(confirmations.front()->code, 5);
}

TEST_F(BluezLateSubscription, IsDecidedBeforeItIsEnded) {
  peripheral->setNotifyValue(false, at(kStream));
  readOther();
  ASSERT_TRUE(waitUntil([&] { return told.size() == 2; }));
  EXPECT_EQ(told, (std::vector<std::string>{"value", "value"}));
  socket = bluez->replySocket(held);
  ASSERT_TRUE(waitUntil([&] { return told.size() == 4; }));
  EXPECT_EQ(told, (std::vector<std::string>{"value", "value", "confirmed", "confirmed"}));
  pollfd entry{socket, 0, 0};
  poll(&entry, 1, 0);
  EXPECT_NE(entry.revents & POLLHUP, 0);
}

TEST_F(BluezLateSubscription, IsDecidedBeforeItIsMadeAgain) {
  peripheral->setNotifyValue(false, at(kStream));
  peripheral->setNotifyValue(true, at(kStream));
  readOther();
  ASSERT_TRUE(waitUntil([&] { return told.size() == 2; }));
  EXPECT_EQ(bluez->count(stream, "AcquireNotify"), 1U);
  bluez->refuse(held, "org.bluez.Error.Failed", "Operation failed with ATT error: 0x05");
  bluez->on(stream, "AcquireNotify",
            [this](OwnedMessage call) { socket = bluez->replySocket(call); });
  ASSERT_TRUE(waitUntil([&] { return told.size() == 5; }));
  EXPECT_EQ(told,
            (std::vector<std::string>{"value", "value", "refused", "confirmed", "confirmed"}));
}

TEST_F(BluezLateSubscription, EndsWithTheLink) {
  dropLink();
  settle();
  socket = bluez->replySocket(held);
  settle();
  EXPECT_EQ(told, std::vector<std::string>{"value"});
}

TEST_F(BluezLateSubscription, IsRefusedWhenTheCharacteristicIsTakenAway) {
  bluez->remove(stream);
  ASSERT_TRUE(waitUntil([&] { return told.size() == 2; }));
  EXPECT_EQ(told, (std::vector<std::string>{"value", "refused"}));
}

// BlueZ signals the value of a read as well, as it does notified values.
TEST_F(BluezLateSubscription, DeliversAReadMadeMeanwhileOnceAndNotItsEchoToo) {
  OwnedMessage start;
  bluez->on(stream, "StartNotify", [&](OwnedMessage call) { start = std::move(call); });
  bluez->refuse(held, "org.bluez.Error.NotSupported", "Operation is not supported");
  ASSERT_TRUE(waitUntil([&] { return start != nullptr; }));
  bluez->on(stream, "ReadValue", [&](OwnedMessage call) {
    signal({1});
    signal({42});
    bluez->replyValue(call, {42});
  });
  peripheral->readValue(at(kStream));
  ASSERT_TRUE(waitUntil([&] { return told.size() == 2; }));
  bluez->reply(start);
  ASSERT_TRUE(waitUntil([&] { return told.size() == 4; }));
  settle();
  EXPECT_EQ(told, (std::vector<std::string>{"value", "value", "confirmed", "value"}));
  EXPECT_EQ(values(), (std::vector<Bytes>{{2}, {42}, {1}}));
}

// While bluetoothd hangs, a missing answer says nothing about the device.
TEST_F(BluezSubscribe, IsNotLateWhileBluezAnswersNothing) {
  OwnedMessage held;
  bluez->on(stream, "AcquireNotify", [&](OwnedMessage call) { held = std::move(call); });
  std::vector<OwnedMessage> roundTrips;
  bluez->on(kDevice, "Get", [&](OwnedMessage call) { roundTrips.push_back(std::move(call)); });
  peripheral->setNotifyValue(true, at(kStream));
  pass(6s);
  settle();
  EXPECT_TRUE(told.empty());
  ASSERT_TRUE(held);
  socket = bluez->replySocket(held);
  ASSERT_TRUE(waitUntil([&] { return !told.empty(); }));
  EXPECT_EQ(told, std::vector<std::string>{"confirmed"});
}

TEST_F(BluezSubscribe, ThatTheDeviceRefusesGivesItsError) {
  bluez->on(stream, "AcquireNotify", [&](OwnedMessage call) {
    bluez->refuse(call, "org.bluez.Error.Failed", "Operation failed with ATT error: 0x05");
  });
  subscribe();
  ASSERT_TRUE(confirmations[0]);
  EXPECT_EQ(confirmations[0]->code, 5);
  EXPECT_EQ(bluez->count(stream, "StartNotify"), 0U);
}

TEST_F(BluezSubscribe, FallsBackToSignals) {
  listen();
  const std::vector<Bytes> sent{{1}, {1}, {}, {2}};
  for (const Bytes& value : sent) signal(value);
  ASSERT_TRUE(waitUntil([&] { return valueEvents.size() == sent.size(); }));
  EXPECT_EQ(values(), sent);
}

TEST_F(BluezSubscribe, KeepsValuesUntilItIsConfirmed) {
  bluez->on(stream, "StartNotify", [&](OwnedMessage call) {
    signal({1});
    signal({2});
    bluez->reply(call);
    signal({3});
  });
  listen();
  ASSERT_TRUE(waitUntil([&] { return valueEvents.size() == 3; }));
  EXPECT_EQ(told, (std::vector<std::string>{"confirmed", "value", "value", "value"}));
  EXPECT_EQ(values(), (std::vector<Bytes>{{1}, {2}, {3}}));
}

TEST_F(BluezSubscribe, DeliversAReadOnceAndNotItsEchoToo) {
  listen();
  bluez->on(stream, "ReadValue", [&](OwnedMessage call) {
    signal({1});
    signal({2});
    signal({42});
    bluez->replyValue(call, {42});
    signal({3});
  });
  peripheral->readValue(at(kStream));
  ASSERT_TRUE(waitUntil([&] { return valueEvents.size() == 4; }));
  settle();
  EXPECT_EQ(values(), (std::vector<Bytes>{{1}, {2}, {42}, {3}}));
}

TEST_F(BluezSubscribe, KeepsTheValuesThatComeDuringAReadThatFails) {
  listen();
  bluez->on(stream, "ReadValue", [&](OwnedMessage call) {
    signal({1});
    signal({2});
    bluez->refuse(call, "org.bluez.Error.NotPermitted", "Read not permitted");
  });
  peripheral->readValue(at(kStream));
  ASSERT_TRUE(waitUntil([&] { return told.size() == 4; }));
  EXPECT_EQ(told, (std::vector<std::string>{"confirmed", "value", "value", "read failed"}));
}

TEST_F(BluezSubscribe, DeliversNoSignalOfACharacteristicThatIsOnlyRead) {
  bluez->on(stream, "ReadValue", [&](OwnedMessage call) {
    signal({42});
    bluez->replyValue(call, {42});
  });
  peripheral->readValue(at(kStream));
  settle();
  EXPECT_EQ(values(), std::vector<Bytes>{{42}});
}

TEST_F(BluezSubscribe, EndsByClosingTheSocket) {
  acquire();
  send({1});
  peripheral->setNotifyValue(false, at(kStream));
  ASSERT_TRUE(waitUntil([&] { return confirmations.size() == 2; }));
  EXPECT_EQ(told, (std::vector<std::string>{"confirmed", "value", "confirmed"}));
  pollfd entry{socket, 0, 0};
  poll(&entry, 1, 0);
  EXPECT_NE(entry.revents & POLLHUP, 0);
}

TEST_F(BluezSubscribe, EndsByStopNotify) {
  listen();
  peripheral->setNotifyValue(false, at(kStream));
  ASSERT_TRUE(waitUntil([&] { return confirmations.size() == 2; }));
  EXPECT_EQ(bluez->count(stream, "StopNotify"), 1U);
  signal({1});
  settle();
  EXPECT_TRUE(valueEvents.empty());
}

TEST_F(BluezSubscribe, CanBeMadeAgain) {
  acquire();
  peripheral->setNotifyValue(false, at(kStream));
  ASSERT_TRUE(waitUntil([&] { return confirmations.size() == 2; }));
  closeSocket();
  acquire();
  send({1});
  EXPECT_TRUE(waitUntil([&] { return valueEvents.size() == 1; }));
}

TEST_F(BluezSubscribe, EndsWithTheLinkAndItsLastValuesAreDelivered) {
  acquire();
  send({1});
  send({2});
  dropLink();
  settle();
  EXPECT_EQ(values(), (std::vector<Bytes>{{1}, {2}}));
  pollfd entry{socket, 0, 0};
  poll(&entry, 1, 0);
  EXPECT_NE(entry.revents & POLLHUP, 0);
}

// More values than a socket holds come while a long line is only partly written.
TEST_F(BluezSubscribe, GoesOnReceivingWhileALongLineWaitsForItsReader) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  std::FILE* pipeStream = fdopen(ends[1], "w");
  std::setbuf(pipeStream, nullptr);
  ::Output output(pipeStream);
  platform->deliverInto(output);
  acquire();
  const std::string line(300000, 'x');
  output.write(line);
  std::vector<Bytes> sent;
  for (int i = 0; i < 5000; ++i) {
    sent.push_back({static_cast<std::uint8_t>(i), static_cast<std::uint8_t>(i >> 8)});
    send(sent.back());
    platform->runUntil(0);
  }
  EXPECT_TRUE(valueEvents.empty());
  std::string all;
  std::string block(5000, '\0');
  while (all.size() < line.size()) {
    const auto count = read(ends[0], block.data(), block.size());
    ASSERT_GT(count, 0);
    all.append(block, 0, static_cast<std::size_t>(count));
    platform->runUntil(0);
  }
  EXPECT_EQ(all, line);
  EXPECT_TRUE(waitUntil([&] { return valueEvents.size() == sent.size(); }));
  EXPECT_EQ(values(), sent);
  std::fclose(pipeStream);
  close(ends[0]);
}

TEST_F(BluezSubscribe, HoldsValuesWhileTheOutputAcceptsNothing) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  acquire();
  support::PipeOutput throughPipe(ends[1]);
  platform->deliverInto(throughPipe);
  const Bytes block(4096);
  pollfd output{ends[1], POLLOUT, 0};
  while (poll(&output, 1, 0) == 1 && (output.revents & POLLOUT) != 0) {
    ASSERT_EQ(write(ends[1], block.data(), block.size()), 4096);
  }
  std::vector<Bytes> sent;
  for (int i = 0; i < 5000; ++i) {
    sent.push_back({static_cast<std::uint8_t>(i), static_cast<std::uint8_t>(i >> 8)});
    send(sent.back());
    platform->runUntil(0);
  }
  settle();
  // Some may have been delivered on the strength of an earlier poll of the pipe.
  EXPECT_LE(valueEvents.size(), 3U);
  Bytes room(block.size());
  while (read(ends[0], room.data(), room.size()) == 4096 && valueEvents.size() < sent.size()) {
    settle();
    if (poll(&output, 1, 0) == 1 && (output.revents & POLLOUT) != 0) break;
  }
  EXPECT_TRUE(waitUntil([&] { return valueEvents.size() == sent.size(); }));
  EXPECT_EQ(values(), sent);
  close(ends[0]);
  close(ends[1]);
}

}  // namespace
}  // namespace bluez_tests
