#include <unistd.h>

#include <cstdlib>

#include "BluezTest.h"

namespace bluez_tests {
namespace {

using namespace std::chrono_literals;

// Requests when the link or the services are lost, or when BlueZ answers wrongly.
class BluezRequestFaults : public BluezTest {
 protected:
  void SetUp() override { connectAndDiscover(); }

  void hold(const std::string& path, const std::string& member) {
    bluez->on(path, member, [this](OwnedMessage call) { held.push_back(std::move(call)); });
  }
  void answerReadsOf(const std::string& path, const Bytes& value) {
    bluez->on(path, "ReadValue",
              [this, value](OwnedMessage call) { bluez->replyValue(call, value); });
  }
  void waitForHeld(std::size_t count) {
    ASSERT_TRUE(waitUntil([&] { return held.size() == count; }));
  }
  void bringLinkBack() {
    bluez->change(kDevice, kDeviceInterface, {{"Connected", true}, {"ServicesResolved", true}});
    settle();
  }

  const std::string stream = std::string(kDevice) + "/service000a/char000b";
  const std::string other = std::string(kDevice) + "/service000a/char000d";
  std::vector<OwnedMessage> held;
};

TEST_F(BluezRequestFaults, NoRequestIsMadeWithoutALink) {
  dropLink();
  settle();
  peripheral->readValue(at(kStream));
  settle();
  bringLinkBack();
  EXPECT_EQ(bluez->count(stream, "ReadValue"), 0U);
}

TEST_F(BluezRequestFaults, RequestsThatWaitEndWithTheLinkAndDoNotHoldUpLaterOnes) {
  hold(stream, "ReadValue");
  peripheral->readValue(at(kStream));
  peripheral->readValue(at(kStream));
  waitForHeld(1);
  dropLink();
  settle();
  bringLinkBack();
  answerReadsOf(other, {2});
  peripheral->readValue(at(kOther));
  ASSERT_TRUE(waitUntil([&] { return !told.empty(); }));
  bluez->replyValue(held.front(), {1});
  settle();
  EXPECT_EQ(values(), std::vector<Bytes>{{2}});
  EXPECT_EQ(held.size(), 1U);
}

TEST_F(BluezRequestFaults, ASubscriptionIsForgottenWithTheLink) {
  hold(stream, "AcquireNotify");
  peripheral->setNotifyValue(true, at(kStream));
  waitForHeld(1);
  dropLink();
  settle();
  bringLinkBack();
  const int socket = bluez->replySocket(held.front());
  settle();
  EXPECT_TRUE(told.empty());
  close(socket);
}

TEST_F(BluezRequestFaults, ServicesThatAreResolvedAgainDoNotDisturbARead) {
  hold(stream, "ReadValue");
  peripheral->readValue(at(kStream));
  waitForHeld(1);
  const std::size_t snapshots = bluez->count("/", "GetManagedObjects");
  bluez->signalChange(kDevice, kDeviceInterface, {{"ServicesResolved", true}});
  settle();
  EXPECT_EQ(bluez->count("/", "GetManagedObjects"), snapshots);
  bluez->replyValue(held.front(), {1});
  ASSERT_TRUE(waitUntil([&] { return !told.empty(); }));
  EXPECT_EQ(told, std::vector<std::string>{"value"});
}

TEST_F(BluezRequestFaults, ACharacteristicThatGoesDoesNotDisturbAReadOfAnother) {
  hold(stream, "ReadValue");
  peripheral->readValue(at(kStream));
  waitForHeld(1);
  bluez->remove(other);
  settle();
  EXPECT_TRUE(told.empty());
  bluez->replyValue(held.front(), {1});
  ASSERT_TRUE(waitUntil([&] { return !told.empty(); }));
  EXPECT_EQ(told, std::vector<std::string>{"value"});
}

TEST_F(BluezRequestFaults, ACharacteristicThatGoesWithoutARequestIsNotReported) {
  bluez->remove(stream);
  settle();
  EXPECT_TRUE(told.empty());
  answerReadsOf(other, {2});
  peripheral->readValue(at(kOther));
  EXPECT_TRUE(waitUntil([&] { return told == std::vector<std::string>{"value"}; }));
}

TEST_F(BluezRequestFaults, ASubscriptionToACharacteristicThatGoesIsRefusedOnce) {
  hold(stream, "AcquireNotify");
  peripheral->setNotifyValue(true, at(kStream));
  waitForHeld(1);
  bluez->remove(stream);
  ASSERT_TRUE(waitUntil([&] { return !told.empty(); }));
  const int socket = bluez->replySocket(held.front());
  settle();
  pass(60s);
  settle();
  EXPECT_EQ(told, std::vector<std::string>{"refused"});
  close(socket);
}

TEST_F(BluezRequestFaults, ASubscriptionGoesOnWhenAnotherCharacteristicGoes) {
  hold(stream, "AcquireNotify");
  peripheral->setNotifyValue(true, at(kStream));
  waitForHeld(1);
  bluez->remove(other);
  settle();
  EXPECT_TRUE(told.empty());
  const int socket = bluez->replySocket(held.front());
  ASSERT_TRUE(waitUntil([&] { return !told.empty(); }));
  EXPECT_EQ(told, std::vector<std::string>{"confirmed"});
  close(socket);
}

TEST_F(BluezRequestFaults, ARequestThatNeedsNoAnswerOfTheDeviceDoesNotHoldUpTheNext) {
  hold(stream, "ReadValue");
  answerReadsOf(other, {2});
  peripheral->readValue(at(kStream));
  peripheral->setNotifyValue(false, at(kOther));
  peripheral->discoverCharacteristics(std::vector{kStream, kOther},
                                      *peripheral->services()->front());
  peripheral->readValue(at(kOther));
  waitForHeld(1);
  EXPECT_TRUE(told.empty());
  bluez->replyValue(held.front(), {1});
  ASSERT_TRUE(waitUntil([&] { return told.size() == 4; }));
  EXPECT_EQ(told, (std::vector<std::string>{"value", "confirmed", "characteristics", "value"}));
}

TEST_F(BluezRequestFaults, AFailedRequestIsFollowedByTheNext) {
  answerReadsOf(other, {2});
  for (const char* member : {"ReadValue", "AcquireNotify"}) {
    bluez->on(stream, member, [this](OwnedMessage call) {
      bluez->refuse(call, "org.bluez.Error.Failed", "Operation failed with ATT error: 0x80");
    });
  }
  peripheral->readValue(at(kStream));
  peripheral->setNotifyValue(true, at(kStream));
  peripheral->writeValue(Bytes{1}, at(kStream), platform::CBCharacteristicWriteType::withResponse);
  peripheral->setNotifyValue(false, at(kStream));
  peripheral->readValue(at(kOther));
  ASSERT_TRUE(waitUntil([&] { return told.size() == 4; }));
  EXPECT_EQ(told, (std::vector<std::string>{"read failed", "refused", "confirmed", "value"}));
  EXPECT_EQ(bluez->count(stream, "WriteValue"), 1U);
}

TEST_F(BluezRequestFaults, ServicesThatCannotBeReadAreAnError) {
  bluez->on("/", "GetManagedObjects", [this](OwnedMessage call) { bluez->reply(call); });
  answerReadsOf(other, {2});
  platform::CBCharacteristic& after = at(kOther);
  peripheral->discoverServices(std::vector{kService});
  peripheral->readValue(after);
  ASSERT_TRUE(waitUntil([&] { return told.size() == 2; }));
  EXPECT_EQ(told, (std::vector<std::string>{"services failed", "value"}));
  EXPECT_EQ(peripheral->services(), nullptr);
}

TEST_F(BluezRequestFaults, ServicesThatAreFoundAgainAreFollowedByTheNextRequest) {
  answerReadsOf(other, {2});
  peripheral->discoverServices(std::vector{kService});
  peripheral->readValue(at(kOther));
  EXPECT_TRUE(waitUntil([&] { return told == std::vector<std::string>{"services", "value"}; }));
}

// sd-bus has a time limit of its own for calls.
TEST_F(BluezRequestFaults, NoRequestIsGivenUpBecauseItTakesLong) {
  setenv("SYSTEMD_BUS_TIMEOUT", "1ms", 1);
  hold(stream, "ReadValue");
  peripheral->readValue(at(kStream));
  waitForHeld(1);
  settle();
  unsetenv("SYSTEMD_BUS_TIMEOUT");
  EXPECT_TRUE(told.empty());
  bluez->replyValue(held.front(), {1});
  EXPECT_TRUE(waitUntil([&] { return told == std::vector<std::string>{"value"}; }));
}

TEST_F(BluezRequestFaults, ARefusedStartNotifyIsRefusedAndDeliversNothing) {
  const auto signal = [this] {
    bluez->signalChange(stream, kCharacteristicInterface, {{"Value", Bytes{1}}});
  };
  bluez->on(stream, "AcquireNotify", [this](OwnedMessage call) {
    bluez->refuse(call, "org.bluez.Error.NotPermitted", "Notify acquired");
  });
  bluez->on(stream, "StartNotify", [&](OwnedMessage call) {
    signal();
    bluez->refuse(call, "org.bluez.Error.Failed", "Operation failed with ATT error: 0x05");
  });
  peripheral->setNotifyValue(true, at(kStream));
  ASSERT_TRUE(waitUntil([&] { return confirmations.size() == 1; }));
  signal();
  settle();
  ASSERT_TRUE(confirmations[0]);
  EXPECT_EQ(confirmations[0]->code, 5);
  EXPECT_EQ(told, std::vector<std::string>{"refused"});

  // It does not count as subscribed either: the next subscription is made anew.
  peripheral->setNotifyValue(true, at(kStream));
  EXPECT_TRUE(waitUntil([&] { return bluez->count(stream, "AcquireNotify") == 2; }));
}

TEST_F(BluezRequestFaults, ASubscriptionFallsBackToSignalsWhereverBluezItselfRefuses) {
  std::size_t confirmed = 0;
  for (const char* error : {"org.bluez.Error.NotSupported", "org.bluez.Error.NotPermitted",
                            "org.bluez.Error.InProgress", SD_BUS_ERROR_UNKNOWN_METHOD}) {
    bluez->on(stream, "AcquireNotify",
              [this, error](OwnedMessage call) { bluez->refuse(call, error, "No"); });
    peripheral->setNotifyValue(true, at(kStream));
    ++confirmed;
    ASSERT_TRUE(waitUntil([&] { return confirmations.size() == confirmed; })) << error;
    EXPECT_FALSE(confirmations.back()) << error;
    peripheral->setNotifyValue(false, at(kStream));
    ++confirmed;
    ASSERT_TRUE(waitUntil([&] { return confirmations.size() == confirmed; })) << error;
  }
  EXPECT_EQ(bluez->count(stream, "StartNotify"), 4U);
}

}  // namespace
}  // namespace bluez_tests
