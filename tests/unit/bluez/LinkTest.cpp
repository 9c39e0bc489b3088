#include "BluezTest.h"

namespace bluez_tests {
namespace {

using namespace std::chrono_literals;

// Attempts to connect: one at a time, with a pause after each that failed.
class BluezLink : public BluezTest {
 protected:
  void SetUp() override { discover(); }

  void hold(const std::string& member) {
    bluez->on(kDevice, member, [this](OwnedMessage call) { held.push_back(std::move(call)); });
  }
  void refuse(const std::string& member) {
    bluez->on(kDevice, member, [this](OwnedMessage call) {
      bluez->refuse(call, "org.bluez.Error.Failed", "Failed");
    });
  }
  void answer(const std::string& member) {
    bluez->on(kDevice, member, [this](OwnedMessage call) { bluez->reply(call); });
  }
  std::size_t attempts() const { return bluez->count(kDevice, "Connect"); }
  bool waitForAttempts(std::size_t count) {
    return waitUntil([&] { return attempts() == count; });
  }
  void setConnected(bool isConnected) {
    bluez->change(kDevice, kDeviceInterface, {{"Connected", isConnected}});
  }
  void comeBack() { bluez->add(kDevice, device("Tramsel-1")); }

  std::vector<OwnedMessage> held;
};

TEST_F(BluezLink, IsTriedAgainAfterAPauseAndNotBefore) {
  refuse("Connect");
  manager->connect(peripheral);
  settle();
  EXPECT_EQ(attempts(), 1U);
  pass(1s);
  EXPECT_TRUE(waitForAttempts(2));
}

TEST_F(BluezLink, CountsAsDownWhenBluezCannotSayWhetherItIsUp) {
  refuse("Get");
  manager->connect(peripheral);
  settle();
  EXPECT_EQ(connections, 0U);
  pass(1s);
  EXPECT_TRUE(waitForAttempts(2));
}

TEST_F(BluezLink, ToADeviceWithoutAnObjectIsTriedWhenItHasOne) {
  bluez->remove(kDevice);
  settle();
  manager->connect(peripheral);
  settle();
  EXPECT_EQ(attempts(), 0U);
  comeBack();
  EXPECT_TRUE(waitForAttempts(1));
}

TEST_F(BluezLink, IsTriedAtOnceWithADeviceThatWentDuringTheQuestionWhetherItIsUp) {
  hold("Get");
  manager->connect(peripheral);
  ASSERT_TRUE(waitUntil([&] { return held.size() == 1; }));
  bluez->remove(kDevice);
  settle();
  bluez->refuse(held.front(), SD_BUS_ERROR_UNKNOWN_OBJECT, "Unknown");
  settle();
  comeBack();
  settle();
  EXPECT_EQ(attempts(), 2U);
}

TEST_F(BluezLink, IsTriedOnceWithADeviceThatWentDuringThePause) {
  refuse("Connect");
  manager->connect(peripheral);
  settle();
  bluez->remove(kDevice);
  settle();
  hold("Connect");
  comeBack();
  settle();
  pass(1s);
  settle();
  EXPECT_EQ(held.size(), 1U);
}

TEST_F(BluezLink, CanBeAskedForAgainWhenItWasUpBeforeTheAttemptWasAnswered) {
  hold("Connect");
  manager->connect(peripheral);
  ASSERT_TRUE(waitUntil([&] { return held.size() == 1; }));
  setConnected(true);
  ASSERT_TRUE(waitUntil([&] { return connections == 1; }));
  bluez->reply(held.front());
  settle();
  setConnected(false);
  settle();
  manager->connect(peripheral);
  EXPECT_TRUE(waitForAttempts(2));
}

TEST_F(BluezLink, CanBeAskedForAtOnceWhenItWasUpBeforeTheQuestionWasAnswered) {
  hold("Get");
  manager->connect(peripheral);
  ASSERT_TRUE(waitUntil([&] { return held.size() == 1; }));
  setConnected(true);
  ASSERT_TRUE(waitUntil([&] { return connections == 1; }));
  bluez->refuse(held.front(), SD_BUS_ERROR_FAILED, "Failed");
  settle();
  setConnected(false);
  settle();
  manager->connect(peripheral);
  settle();
  EXPECT_EQ(attempts(), 2U);
}

TEST_F(BluezLink, IsReportedOncePerRequestThoughItGoesDownAndComesUpAgain) {
  manager->connect(peripheral);
  setConnected(true);
  ASSERT_TRUE(waitUntil([&] { return connections == 1; }));
  setConnected(false);
  setConnected(true);
  settle();
  EXPECT_EQ(connections, 1U);
}

}  // namespace
}  // namespace bluez_tests
