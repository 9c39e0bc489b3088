#include "lab/hci/Peripheral.h"

#include <gtest/gtest.h>

#include "FakeController.h"
#include "FakeModel.h"

namespace lab {
namespace {

using std::chrono::milliseconds;
using Events = std::vector<std::string>;

constexpr std::uint16_t kSetAdvertisingData = 0x2008;
constexpr std::uint16_t kEnableAdvertising = 0x200A;
constexpr std::uint16_t kDisconnect = 0x0406;

class RecordingObserver final : public PeripheralObserver {
 public:
  void didStart(const std::string& address) override { add("started " + address); }
  void didFail(const std::string& reason) override { add("failed " + reason); }
  void didAdvertise() override { add("advertising"); }
  void didConnect() override { add("connected"); }
  void didDisconnect(std::uint8_t reason) override {
    add("disconnected " + std::to_string(reason));
  }
  void didTurnAway() override { add("turned away"); }
  void didSend(const Uuid& uuid, std::span<const std::uint8_t> value) override {
    add("sent " + uuid.text() + " " + toHex(value));
  }
  void didRead(const Uuid& uuid) override { add("read " + uuid.text()); }
  void didWrite(const Uuid& uuid, std::span<const std::uint8_t>) override {
    add("wrote " + uuid.text());
  }
  void didSubscribe(const Uuid& uuid, bool enabled) override {
    add((enabled ? "subscribed " : "unsubscribed ") + uuid.text());
  }
  void didRefuse(const std::string& step) override { add("refused " + step); }

  // The events since the last call.
  Events take() { return std::exchange(events_, {}); }

 private:
  void add(const std::string& event) { events_.push_back(event); }

  Events events_;
};

// The value of AA41 is at handle 0009, its client configuration at 000A.
class PeripheralTest : public testing::Test {
 protected:
  // The peripheral's destructor would otherwise wait for the end of its link, in vain.
  void TearDown() override { controller_.remove(); }

  // Lets both sides react to each other until nothing moves any more.
  void settle() {
    for (int i = 0; i < 40; ++i) {
      peripheral_.serve();
      controller_.serve();
    }
  }
  void connect() {
    settle();
    controller_.linkUp();
    settle();
    observer_.take();
  }
  void subscribe() {
    controller_.fromCentral(4, "120A000100");
    settle();
    observer_.take();
    controller_.toCentral();
  }

  FakeModel model_{{{"AA40", {{.uuid = "AA41", .read = true, .write = true, .notify = true}}}}};
  RecordingObserver observer_;
  FakeController controller_;
  Peripheral peripheral_{HciChannel(controller_.hostEnd()), model_, observer_};
};

TEST_F(PeripheralTest, SetsTheControllerUpAndAdvertises) {
  settle();
  EXPECT_EQ(observer_.take(), (Events{"started C6:05:04:03:02:01", "advertising"}));
  ASSERT_TRUE(controller_.hasSeen(kSetAdvertisingData));
  EXPECT_EQ(toHex(controller_.commands_.back()), "0A2001");
}

TEST_F(PeripheralTest, AdvertisesAgainWithoutReportingIt) {
  settle();
  observer_.take();
  controller_.commands_.clear();
  const auto end = Peripheral::Clock::now() + std::chrono::seconds(10);
  while (!controller_.hasSeen(kEnableAdvertising) && Peripheral::Clock::now() < end) {
    peripheral_.runUntil(*peripheral_.deadline() + milliseconds(1));
    controller_.serve();
  }
  EXPECT_TRUE(controller_.hasSeen(kEnableAdvertising));
  EXPECT_FALSE(controller_.hasSeen(kSetAdvertisingData));
  EXPECT_EQ(observer_.take(), Events{});
}

TEST_F(PeripheralTest, StopsAdvertisingOnDemand) {
  settle();
  EXPECT_TRUE(peripheral_.control("advertise off"));
  settle();
  EXPECT_EQ(toHex(controller_.commands_.back()), "0A2000");
  EXPECT_EQ(peripheral_.deadline(), std::nullopt);
}

TEST_F(PeripheralTest, ServesAttOverTheLink) {
  model_.values_[0] = Bytes{0x2A};
  connect();
  controller_.fromCentral(4, "0A0900");
  settle();
  EXPECT_EQ(controller_.toCentral(), Events{"4:0B2A"});
  EXPECT_EQ(observer_.take(), Events{"read AA41"});
}

TEST_F(PeripheralTest, FragmentsAndReassemblesPacketsLargerThanTheControllersBuffers) {
  connect();
  controller_.fromCentral(4, "020502");
  const std::string value(200, '7');
  controller_.fromCentral(4, "120900" + value);
  controller_.fromCentral(4, "0A0900");
  settle();
  EXPECT_EQ(controller_.toCentral(), (Events{"4:030502", "4:13", "4:0B" + value}));
  EXPECT_LE(controller_.longestDataPacket_, 27U);
}

TEST_F(PeripheralTest, SendsNoMoreThanTheControllerHasRoomFor) {
  connect();
  subscribe();
  controller_.completesPackets_ = false;
  controller_.dataPackets_ = 0;
  model_.toSend_ = {{1}, {2}, {3}};
  settle();
  EXPECT_EQ(controller_.dataPackets_, 1U);
  EXPECT_EQ(observer_.take(), Events{"sent AA41 01"});
  controller_.completePackets();
  settle();
  EXPECT_EQ(observer_.take(), Events{"sent AA41 02"});
  EXPECT_EQ(controller_.toCentral(), (Events{"4:1B090001", "4:1B090002"}));
}

TEST_F(PeripheralTest, LosesNothingWhenTheModelIsFasterThanTheLink) {
  connect();
  subscribe();
  for (std::uint8_t i = 0; i < 100; ++i) model_.toSend_.push_back({i});
  for (int i = 0; i < 10; ++i) settle();
  const Events sent = controller_.toCentral();
  ASSERT_EQ(sent.size(), 100U);
  EXPECT_EQ(sent.back(), "4:1B090063");
}

TEST_F(PeripheralTest, ReportsALostLinkAndAdvertisesAgain) {
  connect();
  controller_.linkDown(0x08);
  settle();
  EXPECT_EQ(observer_.take(), (Events{"disconnected 8", "advertising"}));
  EXPECT_EQ(model_.disconnections_, 1);
}

TEST_F(PeripheralTest, ForgetsWhatALostLinkLeftUnsent) {
  connect();
  subscribe();
  controller_.completesPackets_ = false;
  model_.toSend_ = {{1}, {2}, {3}};
  settle();
  controller_.linkDown(0x13);
  settle();
  controller_.toCentral();
  controller_.completesPackets_ = true;
  controller_.linkUp();
  settle();
  controller_.fromCentral(4, "020502");
  settle();
  EXPECT_EQ(controller_.toCentral(), Events{"4:030502"});
}

TEST_F(PeripheralTest, ReportsARemovedController) {
  connect();
  controller_.remove();
  settle();
  EXPECT_EQ(observer_.take(), (Events{"disconnected 22", "failed the controller is gone"}));
  EXPECT_TRUE(peripheral_.hasFailed());
}

TEST_F(PeripheralTest, EndsTheLinkOnDemand) {
  connect();
  EXPECT_TRUE(peripheral_.control("drop"));
  settle();
  EXPECT_TRUE(controller_.hasSeen(kDisconnect));
  EXPECT_EQ(observer_.take(), (Events{"disconnected 22", "advertising"}));
}

TEST_F(PeripheralTest, VanishesUntilItIsSwitchedOnAgain) {
  connect();
  EXPECT_TRUE(peripheral_.control("vanish"));
  settle();
  EXPECT_EQ(observer_.take(), Events{"disconnected 22"});
  EXPECT_EQ(peripheral_.deadline(), std::nullopt);
  EXPECT_TRUE(peripheral_.control("advertise on"));
  settle();
  EXPECT_EQ(observer_.take(), Events{"advertising"});
}

TEST_F(PeripheralTest, TurnsCentralsAwayAtTheirThirdRequest) {
  EXPECT_TRUE(peripheral_.control("fault refuse-connections=1"));
  connect();
  for (int i = 0; i < 3; ++i) controller_.fromCentral(4, "020502");
  settle();
  EXPECT_EQ(observer_.take(), (Events{"turned away", "advertising"}));
  EXPECT_EQ(model_.disconnections_, 0);
  controller_.linkUp();
  settle();
  EXPECT_EQ(observer_.take(), Events{"connected"});
}

TEST_F(PeripheralTest, LeavesARequestUnansweredOnDemand) {
  connect();
  EXPECT_TRUE(peripheral_.control("fault silence-at=read:AA41"));
  controller_.fromCentral(4, "0A0900");
  settle();
  EXPECT_EQ(controller_.toCentral(), Events{});
  controller_.fromCentral(4, "0A0900");
  settle();
  EXPECT_EQ(controller_.toCentral(), Events{"4:0B"});
}

TEST_F(PeripheralTest, AnswersARequestLateOnDemand) {
  connect();
  EXPECT_TRUE(peripheral_.control("fault late-at=read:AA41,1000"));
  controller_.fromCentral(4, "0A0900");
  settle();
  EXPECT_EQ(controller_.toCentral(), Events{});
  const auto answer = peripheral_.deadline();
  ASSERT_TRUE(answer);
  EXPECT_LE(*answer, Peripheral::Clock::now() + std::chrono::milliseconds(1000));
  peripheral_.runUntil(*answer);
  settle();
  EXPECT_EQ(controller_.toCentral(), Events{"4:0B"});
}

TEST_F(PeripheralTest, ForgetsALateAnswerWithItsLink) {
  connect();
  EXPECT_TRUE(peripheral_.control("fault late-at=read:AA41,100"));
  controller_.fromCentral(4, "0A0900");
  settle();
  peripheral_.control("drop");
  settle();
  ASSERT_FALSE(peripheral_.isConnected());
  peripheral_.runUntil(Peripheral::Clock::now() + std::chrono::milliseconds(150));
  EXPECT_EQ(controller_.toCentral(), Events{});
}

TEST_F(PeripheralTest, LosesTheLinkAtAStepOnDemand) {
  connect();
  EXPECT_TRUE(peripheral_.control("fault drop-at=subscribe:AA41"));
  controller_.fromCentral(4, "120A000100");
  settle();
  EXPECT_EQ(controller_.toCentral(), Events{});
  EXPECT_EQ(observer_.take(), (Events{"disconnected 22", "advertising"}));
}

TEST_F(PeripheralTest, LosesTheLinkAfterAValueOnDemand) {
  connect();
  subscribe();
  EXPECT_TRUE(peripheral_.control("fault drop-at=value:2"));
  model_.toSend_ = {{1}, {2}};
  settle();
  EXPECT_EQ(observer_.take(),
            (Events{"sent AA41 01", "sent AA41 02", "disconnected 22", "advertising"}));
}

TEST_F(PeripheralTest, RejectsProtocolsThatItDoesNotSupport) {
  connect();
  controller_.fromCentral(5, "120308001800280000002A00");      // new connection parameters
  controller_.fromCentral(5, "14040A0080004000400040000100");  // a credit based channel
  controller_.fromCentral(6, "01030001100707");                // pairing
  settle();
  EXPECT_EQ(controller_.toCentral(),
            (Events{"5:010302000000", "5:15040A0000000000000000000200", "6:0505"}));
}

TEST_F(PeripheralTest, RefusesControlLinesThatItDoesNotKnow) {
  for (const char* line : {"", "advertise", "advertise maybe", "drop now", "name-in air",
                           "fault hide=180F", "fault clear", "battery 4"}) {
    EXPECT_FALSE(peripheral_.control(line)) << line;
  }
}

TEST(PeripheralEnd, EndsItsLink) {
  FakeModel model{{}};
  RecordingObserver observer;
  FakeController controller;
  {
    Peripheral peripheral(HciChannel(controller.hostEnd()), model, observer);
    for (int i = 0; i < 40; ++i) {
      peripheral.serve();
      controller.serve();
    }
    controller.linkUp();
    peripheral.serve();
    EXPECT_TRUE(peripheral.isConnected());
    controller.linkDown(0x16);  // the event that the destructor waits for
  }
  controller.serve();
  EXPECT_TRUE(controller.hasSeen(kDisconnect));
  EXPECT_EQ(model.disconnections_, 1);
}

}  // namespace
}  // namespace lab
