// The lab's device models on the simulated platform.
#include "lab/models/Models.h"
#include "lab/simulated/SimulatedDevice.h"
#include "tests/lab/simulated/SimulatedTest.h"

namespace simulated_test {

constexpr CBUUID kMotionService = CBUUID::UUIDWithString("EF680400-9B35-4933-9B10-52FFA9740042");
constexpr CBUUID kMotion = CBUUID::UUIDWithString("EF680408-9B35-4933-9B10-52FFA9740042");
constexpr CBUUID kBatteryService = CBUUID::UUIDWithString("180F");
constexpr CBUUID kBattery = CBUUID::UUIDWithString("2A19");

class Lab : public testing::Test {
 protected:
  Lab() {
    bridge.services = {kMotionService, kBatteryService};
    bridge.characteristics = {kMotion, kBattery};
    bridge.onFound = [](CBPeripheral& peripheral, CBCharacteristic& characteristic) {
      if (characteristic.UUID() == kBattery) peripheral.readValue(characteristic);
      peripheral.setNotifyValue(true, characteristic);
    };
    model->control("name Tramsel-1");
    model->control("battery 92");
    model->control("stream off");
    host.device().appear();
    bridge.start();
  }

  std::size_t count(const std::string& word) const {
    return static_cast<std::size_t>(std::count(bridge.words.begin(), bridge.words.end(), word));
  }
  std::size_t motions() const {
    const auto isMotion = [](const std::string& word) {
      return word.starts_with("value") && word.size() == 6 + 2 * 18;
    };
    return static_cast<std::size_t>(
        std::count_if(bridge.words.begin(), bridge.words.end(), isMotion));
  }

  platform::simulated::Platform air{TimeMode::driven};
  std::unique_ptr<lab::BenchDevice> model = lab::makeDevice("tramsel");
  lab::SimulatedDevice host{air, *model};
  Bridge bridge{air};
};

TEST_F(Lab, ATramselIsFoundReadAndSubscribedTo) {
  bridge.run(1s);
  const Words expected{"state 5",    "found Tramsel-1",   "connected",
                       "services 2", "characteristics 1", "characteristics 1",
                       "subscribed", "value 5C",          "subscribed"};
  EXPECT_EQ(bridge.words, expected);
}

TEST_F(Lab, ATramselStreamsAtItsRate) {
  model->control("stream on");
  model->control("rate 1000");
  bridge.run(1s);
  const std::size_t before = motions();
  bridge.run(10s);
  EXPECT_EQ(motions() - before, 10000U);
}

TEST_F(Lab, ANameThatTheModelLearnsLaterIsAdvertised) {
  bridge.connects = false;
  model->control("name ");
  host.wake();
  bridge.run(1s);
  model->control("name Tramsel-7");
  host.wake();
  bridge.run(1s);
  EXPECT_EQ(bridge.words, (Words{"state 5", "found", "found Tramsel-7"}));
}

TEST_F(Lab, AServiceHiddenBetweenTwoLinksIsMissingOnTheSecond) {
  bridge.run(1s);
  ASSERT_EQ(count("services 2"), 1U);
  model->control("fault hide=180F");
  host.device().dropLink();
  bridge.manager->connect(bridge.peripheral);
  bridge.words.clear();
  bridge.run(1s);
  EXPECT_EQ(count("services 1"), 1U);
}

TEST_F(Lab, ARefusalOfTheModelReachesTheBridge) {
  model->control("fault refuse-read=2A19");
  model->control("fault refuse-subscribe=2A19");
  bridge.run(1s);
  EXPECT_EQ(count("value error"), 1U);
  EXPECT_EQ(count("subscribed error"), 1U);
  EXPECT_EQ(count("subscribed"), 1U);
}

TEST_F(Lab, ALinkMayBeLostAtARequest) {
  EXPECT_TRUE(host.setFault("drop-at", "read:2A19"));
  bridge.run(1s);
  EXPECT_EQ(count("value 5C"), 0U);
  EXPECT_FALSE(host.device().isConnected());
  bridge.manager->connect(bridge.peripheral);
  bridge.run(1s);
  EXPECT_EQ(count("value 5C"), 1U);
}

TEST_F(Lab, ALinkMayBeLostAfterAValue) {
  EXPECT_TRUE(host.setFault("drop-at", "value:5"));
  model->control("stream on");
  bridge.run(10s);
  EXPECT_EQ(motions(), 5U);
  EXPECT_FALSE(host.device().isConnected());
}

TEST_F(Lab, ARequestMayStayUnanswered) {
  EXPECT_TRUE(host.setFault("silence-at", "read:2A19"));
  bridge.run(1h);
  EXPECT_EQ(count("value 5C"), 0U);
  EXPECT_EQ(count("subscribed"), 1U);
  EXPECT_TRUE(host.device().isConnected());
}

TEST_F(Lab, LinksMayBeTurnedAway) {
  EXPECT_TRUE(host.setFault("refuse-connections", "2"));
  bridge.run(1999ms);
  EXPECT_EQ(count("connected"), 0U);
  bridge.run(1ms);
  EXPECT_EQ(count("connected"), 1U);
}

TEST_F(Lab, AnUnknownFaultIsRefused) {
  EXPECT_FALSE(host.setFault("bogus", "1"));
  EXPECT_FALSE(host.setFault("drop-at", "read:xyz"));
}

}  // namespace simulated_test
