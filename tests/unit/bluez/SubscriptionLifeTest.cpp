#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "BluezTest.h"
#include "FullPipe.h"
#include "support/PipeOutput.h"

namespace bluez_tests {
namespace {

// How subscriptions end, and what they keep alive.
class BluezSubscriptionLife : public BluezTest {
 protected:
  void SetUp() override { connectAndDiscover(); }
  void TearDown() override { closeSocket(); }

  void acquire() {
    bluez->on(stream, "AcquireNotify",
              [this](OwnedMessage call) { socket = bluez->replySocket(call); });
    setNotify(true);
  }
  void listen() {
    bluez->on(stream, "AcquireNotify", [this](OwnedMessage call) {
      bluez->refuse(call, "org.bluez.Error.NotSupported", "Operation is not supported");
    });
    setNotify(true);
  }
  void setNotify(bool isEnabled) {
    const std::size_t before = confirmations.size();
    peripheral->setNotifyValue(isEnabled, at(kStream));
    ASSERT_TRUE(waitUntil([&] { return confirmations.size() == before + 1; }));
    ASSERT_FALSE(confirmations.back());
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
  void stall() {
    platform->deliverInto(asOutput);
    output.fill();
  }
  // Drops all references to the device but those of values that wait to be delivered.
  std::weak_ptr<platform::CBPeripheral> letGo() {
    const std::weak_ptr<platform::CBPeripheral> device = peripheral;
    peripheral.reset();
    reports.clear();
    bluez->remove(kDevice);
    settle();
    return device;
  }

  void peripheralDidUpdateValueFor(platform::CBPeripheral& from, platform::CBCharacteristic& which,
                                   const platform::Error* error) override {
    BluezTest::peripheralDidUpdateValueFor(from, which, error);
    if (onValue) onValue();
  }

  std::function<void()> onValue;
  const std::string stream = std::string(kDevice) + "/service000a/char000b";
  const std::string other = std::string(kDevice) + "/service000a/char000d";
  FullPipe output;
  support::PipeOutput asOutput{output.input()};
  int socket = -1;
};

TEST_F(BluezSubscriptionLife, KeepsItsDeviceUntilItsValuesAreDelivered) {
  acquire();
  stall();
  for (std::uint8_t i = 1; i <= 20; ++i) send({i});
  settle();
  const auto device = letGo();
  const std::size_t before = valueEvents.size();
  ASSERT_LT(before, 20U);
  EXPECT_FALSE(device.expired());
  output.drain();
  settle();
  EXPECT_EQ(valueEvents.size(), 20U);
  manager->scanForPeripherals();
  EXPECT_TRUE(device.expired());
}

// A new scan drops devices that nobody holds.
TEST_F(BluezSubscriptionLife, KeepsItsDeviceFromOneValueToTheNext) {
  acquire();
  stall();
  for (std::uint8_t i = 1; i <= 20; ++i) send({i});
  settle();
  const auto device = letGo();
  onValue = [&] {
    manager->scanForPeripherals();
    ASSERT_FALSE(device.expired());
  };
  output.drain();
  settle();
  EXPECT_EQ(valueEvents.size(), 20U);
}

TEST_F(BluezSubscriptionLife, EndsWithItsSocketAndCanBeMadeAgain) {
  acquire();
  closeSocket();
  settle();
  acquire();
  EXPECT_EQ(bluez->count(stream, "AcquireNotify"), 2U);
  send({1});
  EXPECT_TRUE(waitUntil([&] { return values() == std::vector<Bytes>{{1}}; }));
}

TEST_F(BluezSubscriptionLife, EndsWithTheCharacteristicAndCanBeMadeAgain) {
  acquire();
  bluez->remove(stream);
  settle();
  closeSocket();
  bluez->add(stream, characteristic(kStream));
  settle();
  acquire();
  EXPECT_EQ(bluez->count(stream, "AcquireNotify"), 2U);
}

TEST_F(BluezSubscriptionLife, EndsWithTheCharacteristicAlsoWhereValuesAreSignalled) {
  listen();
  bluez->remove(stream);
  settle();
  bluez->add(stream, characteristic(kStream));
  settle();
  listen();
  EXPECT_EQ(bluez->count(stream, "StartNotify"), 2U);
}

// The characteristic has only indications, another program is subscribed, or BlueZ is too old.
TEST_F(BluezSubscriptionLife, FallsBackToSignalsWhereverBluezGivesNoSocket) {
  std::size_t times = 0;
  for (const char* name : {"org.bluez.Error.NotSupported", "org.bluez.Error.NotPermitted",
                           "org.bluez.Error.InProgress", SD_BUS_ERROR_UNKNOWN_METHOD}) {
    bluez->on(stream, "AcquireNotify",
              [&, name](OwnedMessage call) { bluez->refuse(call, name, "No"); });
    setNotify(true);
    EXPECT_EQ(bluez->count(stream, "StartNotify"), ++times) << name;
    setNotify(false);
  }
}

// BlueZ writes the values before it signals the loss of the link; here the platform sees both at
// once.
TEST_F(BluezSubscriptionLife, DeliversAllValuesThatCameBeforeTheLossOfTheLink) {
  acquire();
  dropLink();
  const std::vector<Bytes> sent{{1}, {}, {2}, {}, {}, {3}};
  for (const Bytes& value : sent) send(value);
  settle();
  EXPECT_EQ(values(), sent);
}

TEST_F(BluezSubscriptionLife, LeavesNoWaitingCallbackBehindWhenThePlatformEnds) {
  acquire();
  const std::weak_ptr<platform::CBPeripheral> device = peripheral;
  stall();
  manager.reset();
  const std::size_t before = serviceAnswers.size();
  peripheral->discoverServices(std::vector{kService});  // fails; the callback is held back
  settle();
  EXPECT_EQ(serviceAnswers.size(), before);
  peripheral.reset();
  reports.clear();
  platform.reset();
  EXPECT_TRUE(device.expired());
}

TEST_F(BluezSubscriptionLife, DoesNotEndWithAnotherCharacteristic) {
  listen();
  bluez->remove(other);
  settle();
  signal({1});
  EXPECT_TRUE(waitUntil([&] { return values() == std::vector<Bytes>{{1}}; }));
}

TEST_F(BluezSubscriptionLife, IsConfirmedBeforeItsFirstValueTheSecondTimeToo) {
  listen();
  setNotify(false);
  told.clear();
  bluez->on(stream, "StartNotify", [&](OwnedMessage call) {
    signal({1});
    bluez->reply(call);
  });
  setNotify(true);
  ASSERT_TRUE(waitUntil([&] { return told.size() == 2; }));
  EXPECT_EQ(told, (std::vector<std::string>{"confirmed", "value"}));
}

TEST_F(BluezSubscriptionLife, IsConfirmedBeforeItsFirstValueAlsoAfterARefusedOne) {
  bluez->on(stream, "AcquireNotify", [this](OwnedMessage call) {
    bluez->refuse(call, "org.bluez.Error.Failed", "Operation failed with ATT error: 0x05");
  });
  peripheral->setNotifyValue(true, at(kStream));
  ASSERT_TRUE(waitUntil([&] { return confirmations.size() == 1; }));
  told.clear();
  bluez->on(stream, "StartNotify", [&](OwnedMessage call) {
    signal({1});
    bluez->reply(call);
  });
  listen();
  ASSERT_TRUE(waitUntil([&] { return told.size() == 2; }));
  EXPECT_EQ(told, (std::vector<std::string>{"confirmed", "value"}));
}

TEST_F(BluezSubscriptionLife, IsMadeOnceAndConfirmedAsOftenAsItIsAskedFor) {
  acquire();
  setNotify(true);
  EXPECT_EQ(bluez->count(stream, "AcquireNotify"), 1U);
}

TEST_F(BluezSubscriptionLife, IsNotEndedWhenItWasNeverMade) {
  const std::size_t roundTrips = bluez->count(kDevice, "Get");
  setNotify(false);
  EXPECT_EQ(bluez->count(stream, "StopNotify"), 0U);
  EXPECT_EQ(bluez->count(kDevice, "Get"), roundTrips);
}

// The round trip shows that BlueZ has seen the end of the socket, which came before it.
TEST_F(BluezSubscriptionLife, ClosesItsSocketBeforeTheRoundTrip) {
  acquire();
  OwnedMessage roundTrip;
  bluez->on(kDevice, "Get", [&](OwnedMessage call) { roundTrip = std::move(call); });
  peripheral->setNotifyValue(false, at(kStream));
  ASSERT_TRUE(waitUntil([&] { return roundTrip != nullptr; }));
  pollfd end{socket, 0, 0};
  poll(&end, 1, 0);
  EXPECT_NE(end.revents & POLLHUP, 0);
  EXPECT_EQ(bluez->count(stream, "StopNotify"), 0U);
}

// BlueZ may have answered the first round trip before it saw that the socket is closed.
TEST_F(BluezSubscriptionLife, MakesTwoRoundTripsBetweenTheEndOfItsSocketAndTheNextRequest) {
  acquire();
  std::vector<std::string> calls;
  bluez->on(kDevice, "Get", [&](OwnedMessage call) {
    calls.emplace_back("round trip");
    bluez->reply(call, "v", "b", 1);
  });
  bluez->on(stream, "WriteValue", [&](OwnedMessage call) {
    calls.emplace_back("write");
    bluez->reply(call);
  });
  const Bytes value{1};
  peripheral->setNotifyValue(false, at(kStream));
  peripheral->writeValue(value, at(kStream), platform::CBCharacteristicWriteType::withResponse);
  ASSERT_TRUE(waitUntil([&] { return bluez->count(stream, "WriteValue") == 1; }));
  EXPECT_EQ(calls, (std::vector<std::string>{"round trip", "round trip", "write"}));
}

TEST_F(BluezSubscriptionLife, TakesValuesFromBluezAlone) {
  listen();
  signalFromAnother(stream.c_str(), "org.freedesktop.DBus.Properties", "PropertiesChanged",
                    "sa{sv}as", kCharacteristicInterface, 1, "Value", "ay", 1, 9, 0);
  settle();
  EXPECT_TRUE(valueEvents.empty());
}

TEST_F(BluezSubscriptionLife, LeavesNoValueOfARefusedOneToTheNext) {
  bluez->on(stream, "StartNotify", [&](OwnedMessage call) {
    signal({1});
    bluez->refuse(call, "org.bluez.Error.Failed", "Failed");
  });
  bluez->on(stream, "AcquireNotify", [this](OwnedMessage call) {
    bluez->refuse(call, "org.bluez.Error.NotSupported", "Operation is not supported");
  });
  peripheral->setNotifyValue(true, at(kStream));
  ASSERT_TRUE(waitUntil([&] { return confirmations.size() == 1; }));
  bluez->on(stream, "StartNotify", [&](OwnedMessage call) { bluez->reply(call); });
  setNotify(true);
  signal({2});
  ASSERT_TRUE(waitUntil([&] { return !valueEvents.empty(); }));
  EXPECT_EQ(values(), std::vector<Bytes>{{2}});
}

TEST_F(BluezSubscriptionLife, DeliversWhatCameDuringAReadThatTheLinkEnded) {
  listen();
  bluez->on(stream, "ReadValue", [](OwnedMessage) {});
  peripheral->readValue(at(kStream));
  settle();
  signal({1});
  settle();
  dropLink();
  ASSERT_TRUE(waitUntil([&] { return !valueEvents.empty(); }));
  EXPECT_EQ(values(), std::vector<Bytes>{{1}});
}

TEST_F(BluezSubscriptionLife, DoesNotDeliverTheEchoOfAnEarlierRead) {
  listen();
  bluez->on(stream, "ReadValue", [&](OwnedMessage call) {
    signal({42});
    bluez->replyValue(call, {42});
  });
  peripheral->readValue(at(kStream));
  ASSERT_TRUE(waitUntil([&] { return valueEvents.size() == 1; }));
  bluez->on(stream, "ReadValue",
            [&](OwnedMessage call) { bluez->refuse(call, "org.bluez.Error.Failed", "Failed"); });
  peripheral->readValue(at(kStream));
  ASSERT_TRUE(waitUntil([&] { return valueEvents.size() == 2; }));
  EXPECT_EQ(values(), std::vector<Bytes>{{42}});
}

TEST_F(BluezSubscriptionLife, PassesNoDescriptorOnToOtherPrograms) {
  acquire();
  settle();
  for (int descriptor = 3; descriptor < 256; ++descriptor) {
    int type = 0;
    socklen_t size = sizeof(type);
    if (getsockopt(descriptor, SOL_SOCKET, SO_TYPE, &type, &size) != 0) continue;
    EXPECT_NE(fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0) << descriptor;
  }
}

TEST_F(BluezSubscriptionLife, FailsQuietlyWithoutADelegate) {
  bluez->on(stream, "ReadValue",
            [&](OwnedMessage call) { bluez->refuse(call, "org.bluez.Error.Failed", "Failed"); });
  peripheral->setDelegate(nullptr);
  peripheral->readValue(at(kStream));
  peripheral->readValue(at(kOther));
  ASSERT_TRUE(waitUntil([&] { return bluez->count(other, "ReadValue") == 1; }));
  settle();
  EXPECT_TRUE(told.empty());
}

TEST_F(BluezSubscriptionLife, ReceivesNothingWhileTheQueueIsFullAndGoesOnAfterwards) {
  acquire();
  stall();
  const Bytes value(514, 1);
  std::size_t sent = 0;
  constexpr std::size_t kMoreThanMayBeHeld = 200'000;
  for (int refusals = 0; refusals < 100 && sent < kMoreThanMayBeHeld;) {
    if (::send(socket, value.data(), value.size(), MSG_DONTWAIT) > 0) {
      ++sent;
      refusals = 0;
    } else {
      ++refusals;
      platform->runUntil(0);
    }
  }
  EXPECT_LT(sent, kMoreThanMayBeHeld);
  EXPECT_GT(sent, 100'000U);
  peripheral->setDelegate(nullptr);
  output.drain();
  for (std::size_t turn = 0; turn < sent / 16 + 100; ++turn) platform->runUntil(0);
  peripheral->setDelegate(this);
  send({2});
  EXPECT_TRUE(
      waitUntil([&] { return !valueEvents.empty() && valueEvents.back().value == Bytes{2}; }));
}

// Services that BlueZ presents differently than before.
class BluezOtherServices : public BluezTest {
 protected:
  void SetUp() override { connectAndDiscover(); }

  platform::CBService* lookFor(const platform::CBUUID& uuid) {
    const std::size_t before = serviceAnswers.size();
    peripheral->discoverServices(std::vector{uuid});
    EXPECT_TRUE(waitUntil([&] { return serviceAnswers.size() == before + 1; }));
    const auto* found = peripheral->services();
    return found != nullptr && !found->empty() ? found->front() : nullptr;
  }

  const std::string path = std::string(kDevice) + "/service000a";
};

TEST_F(BluezOtherServices, AreNewObjectsEvenAtTheSamePath) {
  platform::CBService* first = peripheral->services()->front();
  bluez->objects[path] = service(kBatteryService);
  bluez->objects[path + "/char000b"] = characteristic(kBatteryLevel);
  platform::CBService* second = lookFor(kBatteryService);
  ASSERT_NE(second, nullptr);
  EXPECT_NE(second, first);
  told.clear();
  peripheral->discoverCharacteristics(std::vector{kStream, kBatteryLevel}, *second);
  ASSERT_TRUE(waitUntil([&] { return !told.empty(); }));
  ASSERT_EQ(second->characteristics()->size(), 1U);
  EXPECT_EQ(second->characteristics()->front()->UUID(), kBatteryLevel);
}

TEST_F(BluezOtherServices, HaveTheSameCharacteristicsWhenTheyAreFoundAgain) {
  const std::vector<platform::CBCharacteristic*> before =
      *peripheral->services()->front()->characteristics();
  platform::CBService* again = lookFor(kService);
  ASSERT_NE(again, nullptr);
  told.clear();
  peripheral->discoverCharacteristics(std::vector{kStream, kOther}, *again);
  ASSERT_TRUE(waitUntil([&] { return !told.empty(); }));
  EXPECT_EQ(*again->characteristics(), before);
}

TEST_F(BluezOtherServices, AreNotTheBatteryOfAnotherDevice) {
  bluez->objects["/org/bluez/hci0/dev_66_77_88_99_AA_BB"] = {
      {kBatteryInterface, {{"Percentage", std::uint8_t{50}}}}};
  EXPECT_EQ(lookFor(kBatteryService), nullptr);
}

TEST_F(BluezOtherServices, AreWaitedForOnEachLinkThoughBluezDoesNotSignalTheirEnd) {
  bluez->change(kDevice, kDeviceInterface, {{"Connected", false}});
  settle();
  bluez->change(kDevice, kDeviceInterface, {{"Connected", true}});
  settle();
  const std::size_t before = serviceAnswers.size();
  peripheral->discoverServices(std::vector{kService});
  settle();
  EXPECT_EQ(serviceAnswers.size(), before);
  bluez->signalChange(kDevice, kDeviceInterface, {{"ServicesResolved", true}});
  EXPECT_TRUE(waitUntil([&] { return serviceAnswers.size() == before + 1; }));
}

TEST_F(BluezOtherServices, DoNotTakeTheNameAway) {
  bluez->change(kDevice, kDeviceInterface, {{"Name", std::string()}});
  settle();
  EXPECT_EQ(peripheral->name(), "Tramsel-1");
}

}  // namespace
}  // namespace bluez_tests
