#include "lab/models/BenchDevice.h"

#include "RecordingLink.h"

namespace lab {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

// One stream of numbered bytes at 10 per second, and a battery.
class Plain : public BenchDevice {
 public:
  Plain() : BenchDevice("Plain") {
    addService("AA40");
    addStream({.uuid = "AA41", .notify = true}, 10);
    addService("180F");
    addCharacteristic({.uuid = "2A19", .read = true, .write = true, .notify = true}, {50});
  }

 private:
  Bytes sample(Id, std::uint32_t sequence) override {
    return {static_cast<std::uint8_t>(sequence), 0xEE};
  }
};

class BenchDeviceTest : public testing::Test, public Bench<Plain> {};

TEST_F(BenchDeviceTest, StreamsOnlyWhileSubscribed) {
  EXPECT_EQ(sentBy(seconds(0)), Values{});
  subscribe("AA41");
  EXPECT_EQ(sentBy(seconds(1)), Values{"00EE"});
  EXPECT_EQ(next_, milliseconds(1100));
  EXPECT_EQ(sentBy(milliseconds(1200)), (Values{"01EE", "02EE"}));
  subscribe("AA41", false);
  EXPECT_EQ(sentBy(seconds(2)), Values{});
  EXPECT_EQ(next_, std::nullopt);
}

TEST_F(BenchDeviceTest, OffersAgainWhatTheLinkHadNoRoomFor) {
  subscribe("AA41");
  link_.room_ = 0;
  EXPECT_EQ(sentBy(seconds(0)), Values{});
  EXPECT_EQ(next_, std::nullopt);
  link_.room_ = 1;
  EXPECT_EQ(sentBy(milliseconds(250)), Values{"00EE"});
  link_.room_ = 9;
  EXPECT_EQ(sentBy(milliseconds(260)), (Values{"01EE", "02EE"}));
}

TEST_F(BenchDeviceTest, NotifiesSubscribersOfANewLevel) {
  EXPECT_EQ(read("2A19"), "32");
  EXPECT_TRUE(model_.control("battery 42"));
  EXPECT_EQ(sentBy(seconds(0)), Values{});
  EXPECT_EQ(read("2A19"), "2A");
  subscribe("2A19");
  EXPECT_TRUE(model_.control("battery 41"));
  EXPECT_TRUE(model_.control("battery 40"));
  EXPECT_EQ(sentBy(seconds(0)), (Values{"29", "28"}));
}

TEST_F(BenchDeviceTest, LetsPostedValuesAndStreamsTakeTurns) {
  subscribe("AA41");
  subscribe("2A19");
  sentBy(seconds(0));
  model_.control("battery 1");
  model_.control("battery 2");
  model_.control("battery 3");
  EXPECT_EQ(sentBy(milliseconds(200)), (Values{"01", "01EE", "02", "02EE", "03"}));
}

TEST_F(BenchDeviceTest, ForgetsSubscriptionsAndQueueWithTheLink) {
  subscribe("AA41");
  subscribe("2A19");
  model_.control("battery 1");
  reconnect();
  EXPECT_EQ(sentBy(seconds(1)), Values{});
}

TEST_F(BenchDeviceTest, ObeysRateAndCount) {
  EXPECT_TRUE(model_.control("rate 1000"));
  EXPECT_TRUE(model_.control("count 3"));
  subscribe("AA41");
  sentBy(seconds(0));
  EXPECT_EQ(sentBy(seconds(1)), (Values{"01EE", "02EE"}));
  EXPECT_EQ(next_, std::nullopt);
  EXPECT_TRUE(model_.control("rate AA41 1"));
  EXPECT_FALSE(model_.control("rate AA42 1"));
  EXPECT_FALSE(model_.control("rate fast"));
}

TEST_F(BenchDeviceTest, StreamsCanBeSwitchedOffAndOn) {
  subscribe("AA41");
  EXPECT_TRUE(model_.control("stream off"));
  EXPECT_EQ(sentBy(seconds(0)), Values{});
  EXPECT_TRUE(model_.control("stream on"));
  EXPECT_EQ(sentBy(seconds(1)), Values{"00EE"});
}

TEST_F(BenchDeviceTest, SendsTheValuesOfControlLines) {
  subscribe("2A19");
  EXPECT_TRUE(model_.control("send 2A19 0102"));
  EXPECT_TRUE(model_.control("send 2A19 "));
  EXPECT_EQ(sentBy(seconds(0)), (Values{"0102", ""}));
  EXPECT_EQ(read("2A19"), "32");
}

TEST_F(BenchDeviceTest, ChangesItsName) {
  EXPECT_EQ(model_.name(), "Plain");
  EXPECT_TRUE(model_.control("name Two words"));
  EXPECT_EQ(model_.name(), "Two words");
  EXPECT_TRUE(model_.control("name "));
  EXPECT_EQ(model_.name(), "");
}

TEST_F(BenchDeviceTest, RefusesOnDemand) {
  EXPECT_TRUE(model_.control("fault refuse-read=2A19"));
  EXPECT_TRUE(model_.control("fault refuse-write=2A19:0x80"));
  EXPECT_TRUE(model_.control("fault refuse-subscribe=AA41:5"));
  EXPECT_EQ(read("2A19"), "error 2");
  EXPECT_EQ(write("2A19", "01"), static_cast<AttError>(0x80));
  EXPECT_EQ(subscribe("AA41"), AttError::insufficientAuthentication);
  EXPECT_EQ(sentBy(seconds(0)), Values{});
  EXPECT_TRUE(model_.control("fault clear"));
  EXPECT_EQ(read("2A19"), "32");
  EXPECT_EQ(subscribe("AA41"), AttError::none);
}

TEST_F(BenchDeviceTest, CutsAndReplacesValuesOnDemand) {
  subscribe("AA41");
  EXPECT_TRUE(model_.control("fault short=AA41:1"));
  EXPECT_EQ(sentBy(seconds(0)), Values{"00"});
  EXPECT_TRUE(model_.control("fault short=AA41:0"));
  EXPECT_EQ(sentBy(milliseconds(100)), Values{""});
  EXPECT_TRUE(model_.control("fault value=2A19:0000"));
  EXPECT_EQ(read("2A19"), "0000");
}

TEST_F(BenchDeviceTest, HidesAServiceFromTheNextConnectionOn) {
  EXPECT_TRUE(model_.control("fault hide=AA40"));
  EXPECT_TRUE(has("AA40"));
  reconnect();
  EXPECT_FALSE(has("AA40"));
  EXPECT_EQ(at("2A19"), 0U);
  EXPECT_EQ(read("2A19"), "32");
  subscribe("2A19");
  model_.control("battery 1");
  sentBy(seconds(0));
  EXPECT_EQ(link_.indices_, std::vector<CharacteristicIndex>{0});
}

TEST_F(BenchDeviceTest, HidesACharacteristic) {
  model_.control("fault hide=2A19");
  reconnect();
  ASSERT_EQ(model_.services().size(), 2U);
  EXPECT_TRUE(model_.services()[1].characteristics.empty());
}

TEST_F(BenchDeviceTest, PutsAServiceLast) {
  const std::string first = model_.services().front().uuid;
  model_.control("fault last=" + first);
  reconnect();
  ASSERT_EQ(model_.services().size(), 2U);
  EXPECT_EQ(model_.services()[1].uuid, first);
  EXPECT_EQ(at("2A19"), 0U);
  EXPECT_EQ(read("2A19"), "32");
}

TEST_F(BenchDeviceTest, RefusesControlLinesThatItDoesNotKnow) {
  for (const char* line : {"", "dance", "battery 256", "battery x", "count", "value 2A19 0",
                           "value 2A20 00", "fault", "fault hide=xyz", "fault short=AA41:x",
                           "fault refuse-read=2A19:0", "fault dance=2A19", "stream maybe"}) {
    EXPECT_FALSE(model_.control(line)) << line;
  }
}

}  // namespace
}  // namespace lab
