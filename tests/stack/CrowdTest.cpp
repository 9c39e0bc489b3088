// A crowded place: advertisers that the bridge does not serve come and go by the thousand while a
// device streams.
#include <algorithm>
#include <cstdio>
#include <optional>
#include <thread>

#include "ProcessUse.h"
#include "SpareController.h"
#include "StackTest.h"

namespace stack {
namespace {

using namespace std::chrono_literals;

// One controller that advertises under one address after the other, as beacons do that change
// theirs for the sake of privacy.
class Crowd {
 public:
  explicit Crowd(int index) : controller_(index) {
    // The least and the largest interval (100 ms), not connectable, own address random, no peer's
    // address, all three channels, no filter.
    controller_.complete(0x2006,  // LE Set Advertising Parameters
                         {0xA0, 0x00, 0xA0, 0x00, 0x03, 0x01, 0, 0, 0, 0, 0, 0, 0, 0x07, 0});
  }

  // The next one takes the place of the one before.
  void pass() {
    ++count_;
    advertise(false);
    controller_.complete(0x2005, addressBytes(address()));  // LE Set Random Address
    controller_.complete(0x2008, data());                   // LE Set Advertising Data
    advertise(true);
  }

  std::string number() const { return std::to_string(count_); }

  // A static random address.
  std::string address() const {
    char text[24];
    std::snprintf(text, sizeof text, "C0:00:00:%02X:%02X:%02X", count_ >> 16U & 0xFFU,
                  count_ >> 8U & 0xFFU, count_ & 0xFFU);
    return text;
  }

 private:
  void advertise(bool isOn) {
    controller_.complete(0x200A, {static_cast<std::uint8_t>(isOn)});  // LE Set Advertising Enable
  }

  // Its length, then room for 31 bytes: the name.
  lab::Bytes data() const {
    const std::string name = "Beacon " + number();
    lab::Bytes data{static_cast<std::uint8_t>(name.size() + 2),
                    static_cast<std::uint8_t>(name.size() + 1), 0x09};
    data.insert(data.end(), name.begin(), name.end());
    data.resize(32);
    return data;
  }

  SpareController controller_;
  unsigned count_ = 0;
};

class CrowdTest : public StackTest {
 protected:
  // Fifty a second, while the host reads what it is told. BlueZ forgets each after half a minute.
  void pass(int count) {
    constexpr int kPerSecond = 50;
    for (int i = 1; i <= count; ++i) {
      crowd_->pass();
      std::this_thread::sleep_for(1000ms / kPerSecond);
      if (i % kPerSecond != 0) continue;
      if (tramsel_) {
        ASSERT_TRUE(waitForMotions(*bridge_, 1));
      } else {
        ASSERT_TRUE(bridge_->waitForLog("Device trouve : beacon " + crowd_->number()));
      }
    }
  }

  // The processor time that the bridge needs for so many.
  std::chrono::milliseconds costOf(int count) {
    const auto before = processorTime(bridge_->id());
    pass(count);
    return processorTime(bridge_->id()) - before;
  }

  bool knows(const std::string& address) {
    std::string end = "dev_" + address;
    std::ranges::replace(end, ':', '_');
    return std::ranges::any_of(stack_.bluez().devices(),
                               [&end](const Device& device) { return device.path.ends_with(end); });
  }

  std::optional<Crowd> crowd_;
  support::BridgeProcess* bridge_ = nullptr;
  std::unique_ptr<LabDevice> tramsel_;
};

TEST_F(CrowdTest, TenThousandPassersByLeaveNothingBehind) {
  stack_.start(3);
  bridge_ = &startBridge();
  ASSERT_TRUE(waitForScan());
  crowd_.emplace(2);
  pass(2000);  // as many as BlueZ knows at a time
  const auto ofThousand = costOf(1000);
  const std::size_t memory = residentMemory(bridge_->id());
  const std::size_t descriptors = openDescriptors(bridge_->id());
  pass(5000);
  const auto ofLaterThousand = costOf(1000);
  EXPECT_LT(residentMemory(bridge_->id()), memory + (std::size_t{512} << 10U));
  EXPECT_EQ(openDescriptors(bridge_->id()), descriptors);
  std::printf("the third thousand took %lld ms of the processor, the ninth %lld\n",
              static_cast<long long>(ofThousand.count()),
              static_cast<long long>(ofLaterThousand.count()));

  tramsel_ = startTramsel({"--rate", "250"});
  ASSERT_TRUE(waitForMotions(*bridge_, 1, 60s));
  pass(1000);
  EXPECT_TRUE(stack_.bluez().waitUntil([&] { return knows(crowd_->address()); }));
  EXPECT_GT(stack_.bluez().devices().size(), 1000U);
  tramsel_->control("stream off");
  EXPECT_TRUE(waitForMarker(*bridge_, *tramsel_, 60s));
  expectAllMotions(*bridge_, *tramsel_);
}

}  // namespace
}  // namespace stack
