#include <utility>

#include "BluezTest.h"

namespace bluez_tests {
namespace {

using platform::CBUUID;

class BluezServices : public BluezTest {
 protected:
  static std::string path(const std::string& below) { return std::string(kDevice) + below; }

  void resolve() { bluez->change(kDevice, kDeviceInterface, {{"ServicesResolved", true}}); }

  void look(const std::vector<CBUUID>& uuids) {
    const std::size_t before = serviceAnswers.size();
    peripheral->discoverServices(uuids);
    ASSERT_TRUE(waitUntil([&] { return serviceAnswers.size() == before + 1; }));
  }

  std::size_t snapshots() const { return bluez->count("/", "GetManagedObjects"); }

  std::vector<CBUUID> found() const {
    std::vector<CBUUID> uuids;
    for (const auto* each : *peripheral->services()) uuids.push_back(each->UUID());
    return uuids;
  }
};

TEST_F(BluezServices, WaitUntilTheyAreResolved) {
  connect();
  settle();
  const std::size_t before = snapshots();
  peripheral->discoverServices(std::vector{kService});
  settle();
  EXPECT_TRUE(serviceAnswers.empty());
  EXPECT_EQ(snapshots(), before);
  bluez->objects[path("/service000a")] = service(kService);
  resolve();
  ASSERT_TRUE(waitUntil([&] { return serviceAnswers.size() == 1; }));
  EXPECT_EQ(found(), std::vector{kService});
}

TEST_F(BluezServices, AreListedOnceThoughTheyAreSignalledTwiceAsResolved) {
  connect();
  peripheral->discoverServices(std::vector{kService});
  settle();
  OwnedMessage held;
  bluez->on("/", "GetManagedObjects", [&](OwnedMessage call) { held = std::move(call); });
  const std::size_t before = snapshots();
  resolve();
  settle();
  resolve();
  settle();
  EXPECT_EQ(snapshots(), before + 1);
  bluez->replyObjects(held);
  EXPECT_TRUE(waitUntil([&] { return serviceAnswers.size() == 1; }));
}

// The order of ServicesResolved and of the objects' own signals is not guaranteed.
TEST_F(BluezServices, AreTakenFromTheListOfObjectsAndNotFromSignals) {
  connect();
  resolve();
  settle();
  bluez->objects[path("/service000a")] = service(kService);
  look({kService});
  EXPECT_EQ(found(), std::vector{kService});
}

// BlueZ has begun to resolve them anew, so its answer may lack some of them.
TEST_F(BluezServices, AreNotTakenFromAnAnswerThatComesAfterTheyHaveChanged) {
  connect();
  resolve();
  settle();
  bool isFirst = true;
  bluez->on("/", "GetManagedObjects", [&](OwnedMessage call) {
    if (std::exchange(isFirst, false)) {
      bluez->change(kDevice, kDeviceInterface, {{"ServicesResolved", false}});
    }
    bluez->replyObjects(call);
  });
  peripheral->discoverServices(std::vector{kService});
  settle();
  EXPECT_TRUE(serviceAnswers.empty());
  bluez->objects[path("/service000a")] = service(kService);
  resolve();
  ASSERT_TRUE(waitUntil([&] { return serviceAnswers.size() == 1; }));
  EXPECT_EQ(found(), std::vector{kService});
}

TEST_F(BluezServices, AreInOrderOfTheirHandles) {
  connect();
  bluez->objects[path("/service0100")] = service(kStream);
  bluez->objects[path("/service00ff")] = service(kService);
  bluez->objects[path("/service1000")] = service(kOther);
  resolve();
  look({kOther, kStream, kService});
  EXPECT_EQ(found(), (std::vector{kService, kStream, kOther}));
}

TEST_F(BluezServices, LeaveOutWhatWasNotAskedForAndWhatIsNotPrimary) {
  connect();
  bluez->objects[path("/service000a")] = service(kService);
  bluez->objects[path("/service000b")] = service(kService, false);
  bluez->objects[path("/service000c")] = service(kStream);
  resolve();
  look({kService});
  EXPECT_EQ(found(), std::vector{kService});
}

TEST_F(BluezServices, LeaveOutThoseOfOtherDevices) {
  connect();
  bluez->objects["/org/bluez/hci0/dev_00_11_22_33_44_5/service000a"] = service(kService);
  bluez->objects["/org/bluez/hci0/dev_00_11_22_33_44_56/service000a"] = service(kService);
  bluez->objects[path("/service000a/service000b")] = service(kService);
  bluez->objects[path("/servicexyz")] = service(kService);
  resolve();
  look({kService});
  EXPECT_TRUE(found().empty());
}

TEST_F(BluezServices, HaveTheirOwnCharacteristicsInOrderOfTheirHandles) {
  connect();
  bluez->objects[path("/service000a")] = service(kService);
  bluez->objects[path("/service000a/char00ff")] = characteristic(kStream);
  bluez->objects[path("/service000a/char0100")] = characteristic(kOther);
  bluez->objects[path("/service1000")] = service(kBatteryService);
  bluez->objects[path("/service1000/char1001")] = characteristic(kOther);
  resolve();
  look({kService, kBatteryService});
  ASSERT_EQ(found(), (std::vector{kService, kBatteryService}));
  platform::CBService& first = *peripheral->services()->front();
  peripheral->discoverCharacteristics(std::vector{kOther, kStream}, first);
  ASSERT_TRUE(waitUntil([&] { return first.characteristics() != nullptr; }));
  std::vector<CBUUID> uuids;
  for (const auto* each : *first.characteristics()) uuids.push_back(each->UUID());
  EXPECT_EQ(uuids, (std::vector{kStream, kOther}));
}

TEST_F(BluezServices, ThatAreFoundAgainAreTheSameObjects) {
  connect();
  bluez->objects[path("/service000a")] = service(kService);
  resolve();
  look({kService});
  const auto* first = peripheral->services()->front();
  look({kService});
  EXPECT_EQ(peripheral->services()->front(), first);
}

TEST_F(BluezServices, FailWhenTheLinkIsLostBeforeTheyAreKnown) {
  connect();
  peripheral->discoverServices(std::vector{kService});
  settle();
  dropLink();
  ASSERT_TRUE(waitUntil([&] { return serviceAnswers.size() == 1; }));
  EXPECT_TRUE(serviceAnswers[0]);
  EXPECT_EQ(peripheral->services(), nullptr);
}

TEST_F(BluezServices, FailWhenBluezGoesBeforeTheyAreKnown) {
  connect();
  peripheral->discoverServices(std::vector{kService});
  settle();
  bluez.reset();
  ASSERT_TRUE(waitUntil([&] { return serviceAnswers.size() == 1; }));
  EXPECT_TRUE(serviceAnswers[0]);
}

class BluezBattery : public BluezServices {
 protected:
  // As BlueZ 5.48 to 5.54 presents a device with a battery service: as a property of the device.
  void connectWithLevel(std::uint8_t level) {
    connect();
    bluez->objects[path("/service000a")] = service(kService);
    bluez->objects[kDevice][kBatteryInterface] = {{"Percentage", level}};
    resolve();
    look({kBatteryService, kService});
  }

  platform::CBCharacteristic& findLevel() {
    auto& battery = *peripheral->services()->back();
    peripheral->discoverCharacteristics(std::vector{kBatteryLevel}, battery);
    EXPECT_TRUE(waitUntil([&] { return battery.characteristics() != nullptr; }));
    return *battery.characteristics()->front();
  }
};

TEST_F(BluezBattery, IsAServiceWhereBluezHidesIt) {
  connectWithLevel(92);
  EXPECT_EQ(found(), (std::vector{kService, kBatteryService}));
}

TEST_F(BluezBattery, IsNotDoubledWhereBluezShowsIt) {
  connect();
  bluez->objects[path("/service000a")] = service(kBatteryService);
  bluez->objects[kDevice][kBatteryInterface] = {{"Percentage", std::uint8_t{9}}};
  resolve();
  look({kBatteryService});
  EXPECT_EQ(found(), std::vector{kBatteryService});
}

TEST_F(BluezBattery, IsRead) {
  connectWithLevel(92);
  auto& level = findLevel();
  peripheral->readValue(level);
  ASSERT_TRUE(waitUntil([&] { return valueEvents.size() == 1; }));
  EXPECT_EQ(valueEvents[0].characteristic, &level);
  EXPECT_EQ(values(), std::vector<Bytes>{{92}});
}

TEST_F(BluezBattery, IsReadAsOftenAsItIsAskedFor) {
  connectWithLevel(92);
  auto& level = findLevel();
  peripheral->readValue(level);
  peripheral->readValue(level);
  EXPECT_TRUE(waitUntil([&] { return valueEvents.size() == 2; }));
}

TEST_F(BluezBattery, IsFollowedWhileSubscribed) {
  connectWithLevel(92);
  auto& level = findLevel();
  bluez->change(kDevice, kBatteryInterface, {{"Percentage", std::uint8_t{91}}});
  settle();
  EXPECT_TRUE(valueEvents.empty());
  peripheral->setNotifyValue(true, level);
  ASSERT_TRUE(waitUntil([&] { return confirmations.size() == 1; }));
  settle();
  bluez->change(kDevice, kBatteryInterface, {{"Percentage", std::uint8_t{90}}});
  ASSERT_TRUE(waitUntil([&] { return valueEvents.size() == 1; }));
  EXPECT_EQ(values(), std::vector<Bytes>{{90}});
  peripheral->setNotifyValue(false, level);
  ASSERT_TRUE(waitUntil([&] { return confirmations.size() == 2; }));
  bluez->change(kDevice, kBatteryInterface, {{"Percentage", std::uint8_t{89}}});
  settle();
  EXPECT_EQ(valueEvents.size(), 1U);
  EXPECT_EQ(bluez->count(kDevice, "StopNotify"), 0U);  // BlueZ has no subscription to end
}

}  // namespace
}  // namespace bluez_tests
