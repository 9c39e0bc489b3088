// Driven time, and what shows only in real time.
#include <unistd.h>

#include <array>
#include <thread>

#include "support/NonBlockingPipe.h"
#include "support/PipeOutput.h"
#include "tests/lab/simulated/SimulatedTest.h"

namespace simulated_test {

using DrivenTime = SimulatedTest;

TEST_F(DrivenTime, MovesOnlyByTheRunLoopAndSleep) {
  const double before = air.now();
  EXPECT_EQ(air.now(), before);
  air.runUntil(before + 60);
  EXPECT_EQ(air.now(), before + 60);
  air.sleep(1s);
  EXPECT_EQ(air.now(), before + 61);
  air.runUntil(before);
  EXPECT_EQ(air.now(), before + 61);
}

TEST_F(DrivenTime, BringsEventsAtTheirTimesInOrder) {
  std::vector<std::pair<int, Time>> seen;
  air.at(2s, [&] { seen.emplace_back(1, air.time()); });
  air.at(1s, [&] {
    seen.emplace_back(2, air.time());
    air.after(500ms, [&] { seen.emplace_back(3, air.time()); });
  });
  air.at(2s, [&] { seen.emplace_back(4, air.time()); });
  air.at(5s, [&] { seen.emplace_back(5, air.time()); });
  air.runUntil(air.now() + 3);
  const std::vector<std::pair<int, Time>> expected{{2, 1s}, {3, 1500ms}, {1, 2s}, {4, 2s}};
  EXPECT_EQ(seen, expected);
}

TEST_F(DrivenTime, DeliversBeforeTheNextEventHappens) {
  air.setFirstStateDelay(1s);
  air.at(1s, [&] { bridge.words.push_back("later"); });
  run(2s);
  EXPECT_EQ(bridge.words.front(), "later");  // entered before the manager was made
  air.after(0s, [&] { air.setState(CBManagerState::resetting); });
  air.after(0s, [&] { bridge.words.push_back("after"); });
  bridge.words.clear();
  run();
  EXPECT_EQ(bridge.words, (Words{"state 1", "after"}));
}

TEST_F(DrivenTime, IsTheSameInEveryRun) {
  const auto transcript = [] {
    platform::simulated::Platform platform(TimeMode::driven);
    Device& probe = platform.addDevice("Probe");
    DeviceCharacteristic& stream = probe.addService(kService).addCharacteristic(kFirst);
    probe.connectDelay = 123ms;
    probe.responseDelay = 7ms;
    Bridge one(platform);
    one.services = {kService};
    one.characteristics = {kFirst};
    one.onFound = [](CBPeripheral& peripheral, CBCharacteristic& characteristic) {
      peripheral.setNotifyValue(true, characteristic);
    };
    one.onValue = [&](CBCharacteristic& characteristic) {
      one.words.push_back(std::to_string(platform.time().count()) + ' ' +
                          std::to_string(characteristic.value()->front()));
    };
    for (std::uint8_t i = 0; i < 100; ++i) {
      platform.at(i * 3ms, [&, i] { probe.notify(stream, Bytes{i}); });
    }
    probe.appear();
    one.start();
    one.run(1s);
    return one.words;
  };
  const Words words = transcript();
  EXPECT_EQ(words.back(), "297000 99");
  EXPECT_EQ(transcript(), words);
}

// Thrown to end a run loop that would otherwise wait for a minute.
struct Woken {};

class RealTime : public testing::Test {
 protected:
  RealTime() {
    bridge.services = {kService};
    bridge.characteristics = {kFirst};
    bridge.onFound = [](CBPeripheral& peripheral, CBCharacteristic& characteristic) {
      peripheral.setNotifyValue(true, characteristic);
    };
    device.appear();
    bridge.start();
    while (bridge.words.empty() || bridge.words.back() != "subscribed") bridge.run(1ms);
  }

  platform::simulated::Platform air{TimeMode::real};
  Device& device = air.addDevice("Probe");
  DeviceCharacteristic& stream = device.addService(kService).addCharacteristic(kFirst);
  Bridge bridge{air};
};

TEST_F(RealTime, IsTheMachinesDate) {
  const auto date = std::chrono::system_clock::now().time_since_epoch();
  EXPECT_NEAR(air.now(), std::chrono::duration<double>(date).count(), 60);
}

TEST_F(RealTime, ARequestOfAnotherThreadWakesTheRunLoop) {
  stream.onWrite = [](Value) -> platform::simulated::Refusal { throw Woken(); };
  std::thread writer([&] {
    bridge.peripheral->writeValue(Bytes{1}, *bridge.find(kFirst),
                                  platform::CBCharacteristicWriteType::withResponse);
  });
  EXPECT_THROW(bridge.run(60s), Woken);
  writer.join();
}

TEST_F(RealTime, AReaderThatReadsOnWakesTheRunLoop) {
  std::array<int, 2> ends{};
  ASSERT_TRUE(support::openNonBlockingPipe(ends));
  std::array<char, 4096> block{};
  while (::write(ends[1], block.data(), block.size()) > 0) {
  }
  support::PipeOutput throughPipe(ends[1]);
  air.deliverInto(throughPipe);
  device.notify(stream, Bytes{1});
  bool wasHeldBack = false;
  bridge.onValue = [&](CBCharacteristic&) {
    EXPECT_TRUE(wasHeldBack);
    throw Woken();
  };
  bridge.run(20ms);
  wasHeldBack = true;
  std::thread reader([&] {
    while (::read(ends[0], block.data(), block.size()) > 0) {
    }
  });
  EXPECT_THROW(bridge.run(60s), Woken);
  reader.join();
  ::close(ends[0]);
  ::close(ends[1]);
}

}  // namespace simulated_test
