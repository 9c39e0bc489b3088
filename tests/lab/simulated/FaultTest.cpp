// Faults of the device's answers.
#include <algorithm>
#include <numeric>

#include "tests/lab/simulated/SimulatedTest.h"

namespace simulated_test {

using Fault = SimulatedTest;

TEST_F(Fault, ServiceDiscoveryMayFail) {
  device.servicesRefusal = attError(0x0E);
  run();
  EXPECT_EQ(bridge.words.back(), "services error");
  EXPECT_EQ(bridge.peripheral->services(), nullptr);
}

TEST_F(Fault, AServiceMayBeMissing) {
  service.hidden = true;
  run();
  EXPECT_EQ(bridge.words.back(), "services 0");
}

TEST_F(Fault, DiscoveryOfCharacteristicsMayFail) {
  service.characteristicsRefusal = attError(0x0E);
  run();
  EXPECT_EQ(bridge.words.back(), "characteristics error");
  EXPECT_EQ(bridge.peripheral->services()->front()->characteristics(), nullptr);
}

TEST_F(Fault, DiscoveryOfCharacteristicsMayFailLater) {
  run();
  CBService& found = *bridge.peripheral->services()->front();
  ASSERT_NE(found.characteristics(), nullptr);
  service.characteristicsRefusal = attError(0x0E);
  bridge.peripheral->discoverCharacteristics(bridge.characteristics, found);
  run();
  EXPECT_EQ(found.characteristics(), nullptr);
}

TEST_F(Fault, AReadMayFailWhileOthersDoNot) {
  first.readRefusal = attError(0x05);
  second.value = {2};
  readBoth();
  run();
  EXPECT_EQ(answers(), (Words{"value error", "value 02"}));
}

TEST_F(Fault, WhatTheDeviceDoesNotPermitIsRefused) {
  first.readable = false;
  first.notifies = false;
  first.writable = false;
  bool wasWritten = false;
  first.onWrite = [&](Value) -> platform::simulated::Refusal {
    wasWritten = true;
    return std::nullopt;
  };
  bridge.onFound = [](CBPeripheral& peripheral, CBCharacteristic& characteristic) {
    if (characteristic.UUID() != kFirst) return;
    peripheral.readValue(characteristic);
    peripheral.setNotifyValue(true, characteristic);
    peripheral.writeValue(Bytes{1}, characteristic,
                          platform::CBCharacteristicWriteType::withResponse);
  };
  run();
  EXPECT_EQ(answers(), (Words{"value error", "subscribed error"}));
  EXPECT_FALSE(wasWritten);
}

TEST_F(Fault, ValuesMayHaveAnyLengthThatFitsIntoAPacket) {
  subscribeFirst();
  run();
  for (const std::size_t length : {std::size_t{0}, std::size_t{1}, platform::kLargestValue}) {
    bridge.words.clear();
    device.notify(first, Bytes(length, 0xAB));
    run();
    ASSERT_EQ(bridge.words.size(), 1U);
    EXPECT_EQ(bridge.words.front().size(), 6 + 2 * length);
  }
  bridge.words.clear();
  device.notify(first, Bytes(platform::kLargestValue + 1, 0xAB));
  run();
  EXPECT_TRUE(bridge.words.empty());
}

TEST_F(Fault, ALengthMayBeForcedOnValues) {
  first.value = {1, 2, 3};
  first.forcedLength = 2;
  second.value = {9};
  second.forcedLength = 3;
  readBoth();
  run();
  EXPECT_EQ(answers(), (Words{"value 0102", "value 090000"}));
  subscribeFirst();
  bridge.peripheral->setNotifyValue(true, *bridge.find(kFirst));
  run();
  device.notify(first, Bytes{7, 8, 9});
  run();
  EXPECT_EQ(bridge.words.back(), "value 0708");
}

TEST_F(Fault, AnswersMayBeSlow) {
  device.responseDelay = 100ms;
  second.responseDelay = 1s;
  readBoth();
  run(299ms);  // services, characteristics, the first read
  EXPECT_TRUE(answers().empty());
  run(1ms);
  EXPECT_EQ(answers().size(), 1U);
  run(1099ms);
  EXPECT_EQ(answers().size(), 1U);
  run(1ms);
  EXPECT_EQ(answers().size(), 2U);
}

TEST_F(Fault, ARequestThatIsNeverAnsweredHoldsUpTheOthersUntilTheLinkIsLost) {
  first.responseDelay = kNever;
  readBoth();
  run(1h);
  EXPECT_TRUE(answers().empty());
  air.after(0s, [&] { device.dropLink(); });
  run();
  EXPECT_TRUE(answers().empty());
  first.responseDelay = Time{0};
  bridge.manager->connect(bridge.peripheral);
  run();
  EXPECT_EQ(answers(), (Words{"value ", "value "}));
}

TEST_F(Fault, AnAnswerMayBeWithheldOnce) {
  device.onRequest = [&](RequestKind kind, const CBUUID* identifier) {
    if (kind == RequestKind::read && *identifier == kSecond) device.leaveUnanswered();
  };
  readBoth();
  run(1h);
  EXPECT_EQ(answers(), Words{"value "});
}

TEST_F(Fault, ValuesThatComeWithTheSubscriptionFollowItsConfirmation) {
  first.onSubscribe = [&](bool) -> platform::simulated::Refusal {
    device.notify(first, Bytes{1});
    device.notify(first, Bytes{2});
    return std::nullopt;
  };
  subscribeFirst();
  run();
  EXPECT_EQ(answers(), (Words{"subscribed", "value 01", "value 02"}));
}

TEST_F(Fault, ValuesThatComeWithARefusalGoNowhere) {
  first.onSubscribe = [&](bool) -> platform::simulated::Refusal {
    device.notify(first, Bytes{1});
    return attError(0x05);
  };
  subscribeFirst();
  run();
  device.notify(first, Bytes{2});
  run();
  EXPECT_EQ(answers(), Words{"subscribed error"});
}

// Loses the link at each kind of request: the bridge has recorded the callbacks up to there.
class LinkLost : public SimulatedTest, public testing::WithParamInterface<RequestKind> {};

TEST_P(LinkLost, AtARequestEndsTheSessionThere) {
  bridge.onFound = [](CBPeripheral& peripheral, CBCharacteristic& characteristic) {
    if (characteristic.UUID() != kFirst) return;
    const Bytes value{1};
    peripheral.readValue(characteristic);
    peripheral.setNotifyValue(true, characteristic);
    peripheral.writeValue(value, characteristic, platform::CBCharacteristicWriteType::withResponse);
    peripheral.setNotifyValue(false, characteristic);
    peripheral.readValue(characteristic);
  };
  std::vector<RequestKind> reached;
  device.onRequest = [&](RequestKind kind, const CBUUID*) {
    reached.push_back(kind);
    if (kind == GetParam()) device.dropLink();
  };
  run(1h);
  EXPECT_EQ(reached.back(), GetParam());
  EXPECT_FALSE(device.isConnected());
  Words expected{"state 5", "found Probe", "connected"};
  switch (GetParam()) {
    case RequestKind::discoverServices:
      expected.push_back("services error");
      break;
    case RequestKind::unsubscribe:
    case RequestKind::write:
      expected.insert(expected.end(), {"services 1", "characteristics 2", "value ", "subscribed"});
      break;
    case RequestKind::subscribe:
      expected.insert(expected.end(), {"services 1", "characteristics 2", "value "});
      break;
    case RequestKind::read:
      expected.insert(expected.end(), {"services 1", "characteristics 2"});
      break;
    case RequestKind::discoverCharacteristics:
      expected.push_back("services 1");
      break;
  }
  EXPECT_EQ(bridge.words, expected);
}

INSTANTIATE_TEST_SUITE_P(EachKind, LinkLost,
                         testing::Values(RequestKind::discoverServices,
                                         RequestKind::discoverCharacteristics, RequestKind::read,
                                         RequestKind::write, RequestKind::subscribe,
                                         RequestKind::unsubscribe));

// A Fenwix is identified by five reads and one confirmed subscription. With the values in two
// services, one before and one after the service of the subscription, all orders can be tested.
TEST(Order, OfFiveReadsAndASubscriptionMayBeAny) {
  constexpr CBUUID kValues = CBUUID::UUIDWithString("180A");
  constexpr CBUUID kCommand = CBUUID::UUIDWithString("2B00");
  const std::vector<CBUUID> reads{
      CBUUID::UUIDWithString("2A24"), CBUUID::UUIDWithString("2A25"),
      CBUUID::UUIDWithString("2A26"), CBUUID::UUIDWithString("2A27"),
      CBUUID::UUIDWithString("2A23"),
  };
  std::vector<std::size_t> order(6);  // the sixth stands for the subscription
  std::iota(order.begin(), order.end(), 0U);
  do {
    platform::simulated::Platform air(TimeMode::driven);
    Device& device = air.addDevice("Pod");
    DeviceService* service = &device.addService(kValues);
    Words expected;
    for (const std::size_t event : order) {
      if (event < reads.size()) {
        service->addCharacteristic(reads[event]).value = {static_cast<std::uint8_t>(event)};
        expected.push_back("value 0" + std::to_string(event));
      } else {
        device.addService(kService).addCharacteristic(kCommand);
        service = &device.addService(kValues);
        expected.push_back("subscribed");
      }
    }
    Bridge bridge(air);
    bridge.services = {kValues, kService};
    bridge.characteristics = reads;
    bridge.characteristics.push_back(kCommand);
    bridge.onFound = [&](CBPeripheral& peripheral, CBCharacteristic& characteristic) {
      if (characteristic.UUID() == kCommand) return peripheral.setNotifyValue(true, characteristic);
      peripheral.readValue(characteristic);
    };
    device.appear();
    bridge.start();
    bridge.run(1s);
    Words events;
    std::copy_if(
        bridge.words.begin(), bridge.words.end(), std::back_inserter(events),
        [](const std::string& word) { return word.starts_with("value") || word == "subscribed"; });
    ASSERT_EQ(events, expected);
  } while (std::next_permutation(order.begin(), order.end()));
}

}  // namespace simulated_test
