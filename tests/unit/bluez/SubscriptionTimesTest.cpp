#include <sys/socket.h>
#include <unistd.h>

#include "BluezTest.h"

namespace bluez_tests {
namespace {

using namespace std::chrono_literals;

// The time limits of a subscription. The test decides when the device answers it, and when the
// round trips end by which the platform learns that BlueZ has read the call. A subscription is late
// when requests made after it are carried out.
class BluezSubscriptionTimes : public BluezTest {
 protected:
  void SetUp() override {
    connectAndDiscover();
    for (const auto& [path, call] :
         {std::pair(stream, &acquire), std::pair(other, &acquireOther)}) {
      bluez->on(path, "AcquireNotify",
                [held = call](OwnedMessage asked) { *held = std::move(asked); });
    }
    bluez->on(stream, "StartNotify",
              [this](OwnedMessage asked) { startNotify = std::move(asked); });
    bluez->on(kDevice, "Get", [this](OwnedMessage asked) {
      roundTrips.push_back(std::move(asked));
      if (!holdsRoundTrips) endRoundTrips();
    });
  }
  void TearDown() override {
    for (const int socket : sockets) close(socket);
  }

  // In steps, so that each timer rings in time. settle() takes some of the time itself.
  void letPass(std::chrono::seconds time) {
    const double end = platform->now() + static_cast<double>(time.count());
    while (platform->now() < end) {
      leap(500ms);
      settle();
    }
  }

  // Any answer will do, so an error as well.
  void endRoundTrips() {
    for (const OwnedMessage& each : roundTrips) {
      bluez->refuse(each, SD_BUS_ERROR_FAILED, "of no interest");
    }
    roundTrips.clear();
  }

  void subscribe(const platform::CBUUID& uuid) { peripheral->setNotifyValue(true, at(uuid)); }
  void confirm(const OwnedMessage& call) { sockets.push_back(bluez->replySocket(call)); }
  void refuseSocket() {
    bluez->refuse(acquire, "org.bluez.Error.NotSupported", "Operation is not supported");
    settle();
    ASSERT_NE(startNotify, nullptr);
  }

  // A subscription is late after 5 s, and counts as refused 30 s after that.
  void makeLate() {
    subscribe(kStream);
    letPass(6s);
    ASSERT_TRUE(goesOn());
    told.clear();
  }

  // Whether a request that is made now is carried out.
  bool goesOn() {
    const std::size_t before = bluez->count(other, "ReadValue");
    peripheral->readValue(at(kOther));
    settle();
    return bluez->count(other, "ReadValue") > before;
  }

  const std::string stream = std::string(kDevice) + "/service000a/char000b";
  const std::string other = std::string(kDevice) + "/service000a/char000d";
  bool holdsRoundTrips = false;
  std::vector<OwnedMessage> roundTrips;
  OwnedMessage acquire;
  OwnedMessage acquireOther;
  OwnedMessage startNotify;
  std::vector<int> sockets;
};

TEST_F(BluezSubscriptionTimes, BeginWhenBluezHasReadTheCall) {
  holdsRoundTrips = true;
  subscribe(kStream);
  letPass(8s);
  EXPECT_FALSE(goesOn());
  holdsRoundTrips = false;
  endRoundTrips();
  letPass(6s);
  EXPECT_EQ(bluez->count(other, "ReadValue"), 1U);
}

TEST_F(BluezSubscriptionTimes, BeginAnewWithTheOtherWayToSubscribe) {
  subscribe(kStream);
  letPass(3s);
  holdsRoundTrips = true;
  refuseSocket();
  letPass(4s);
  EXPECT_FALSE(goesOn());
}

TEST_F(BluezSubscriptionTimes, OfALateOneAreLongWithTheOtherWayToo) {
  makeLate();
  refuseSocket();
  letPass(20s);
  EXPECT_TRUE(told.empty());
  bluez->reply(startNotify);
  settle();
  EXPECT_EQ(told, std::vector<std::string>{"confirmed"});
}

TEST_F(BluezSubscriptionTimes, DoNotBeginWithAnAnswerThatComesBeforeBluezHasReadTheCall) {
  makeLate();
  subscribe(kOther);
  settle();
  holdsRoundTrips = true;
  refuseSocket();
  confirm(acquireOther);
  settle();
  const std::size_t asked = bluez->count(kDevice, "Get");
  letPass(32s);
  EXPECT_EQ(bluez->count(kDevice, "Get"), asked);
}

TEST_F(BluezSubscriptionTimes, AreShortForOneThatIsNotLateThoughALateOneIsDecided) {
  makeLate();
  subscribe(kOther);
  letPass(3s);
  confirm(acquire);
  letPass(3s);
  EXPECT_TRUE(goesOn());
}

// The device answers one request after the other: it could not answer the late one before.
TEST_F(BluezSubscriptionTimes, BeginAnewForALateOneWhenAnotherIsDecided) {
  makeLate();
  subscribe(kOther);
  letPass(25s);
  confirm(acquireOther);
  letPass(25s);
  EXPECT_EQ(told, std::vector<std::string>{"confirmed"});
  letPass(10s);
  EXPECT_EQ(told, (std::vector<std::string>{"confirmed", "refused"}));
}

TEST_F(BluezSubscriptionTimes, OfALateOneDoNotHoldAnotherUp) {
  makeLate();
  subscribe(kOther);
  settle();
  EXPECT_NE(acquireOther, nullptr);
}

TEST_F(BluezSubscriptionTimes, EndWithARefusalThatAnEvenLaterAnswerDoesNotChange) {
  makeLate();
  const std::size_t asked = bluez->count(kDevice, "Get");
  letPass(26s);
  holdsRoundTrips = true;
  letPass(6s);
  ASSERT_TRUE(told.empty());
  // Two, after which BlueZ has no answer after all; the third shows that the link is up.
  for (int i = 0; i < 2; ++i) {
    endRoundTrips();
    settle();
  }
  ASSERT_EQ(bluez->count(kDevice, "Get"), asked + 3);
  confirm(acquire);
  settle();
  endRoundTrips();
  settle();
  EXPECT_EQ(told, std::vector<std::string>{"refused"});
}

TEST_F(BluezSubscriptionTimes, EndWithTheRefusalOnceTheLinkIsKnownToBeUp) {
  subscribe(kStream);
  letPass(4s);
  holdsRoundTrips = true;
  bluez->refuse(acquire, "org.bluez.Error.Failed", "Operation failed with ATT error: 0x05");
  letPass(3s);
  EXPECT_FALSE(goesOn());
  endRoundTrips();
  settle();
  EXPECT_EQ(told, std::vector<std::string>{"refused"});
  EXPECT_EQ(bluez->count(other, "ReadValue"), 1U);
}

// The read failed, so a value signalled meanwhile is a notification and not the read's.
TEST_F(BluezSubscriptionTimes, DoNotCostAValueThatCameDuringARefusedRead) {
  makeLate();
  refuseSocket();
  bluez->on(stream, "ReadValue", [this](OwnedMessage call) {
    bluez->signalChange(stream, kCharacteristicInterface, {{"Value", Bytes{7}}});
    bluez->refuse(call, "org.bluez.Error.Failed", "Failed");
  });
  peripheral->readValue(at(kStream));
  settle();
  bluez->reply(startNotify);
  settle();
  EXPECT_EQ(values(), std::vector<Bytes>{{7}});
}

}  // namespace
}  // namespace bluez_tests
