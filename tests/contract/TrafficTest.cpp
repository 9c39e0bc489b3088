#include "contract/TrafficTest.h"

#include <algorithm>

namespace contract {

void TrafficTest::TearDown() {
  settle();
  const std::string name = testing::UnitTest::GetInstance()->current_test_info()->name();
  didPlay(name.substr(0, name.find('/')), stack().traffic().text());
}

void TrafficTest::step(const std::string& name) {
  settle();
  stack().traffic().beginStep(name);
}

void TrafficTest::discover() {
  start();
  manager->scanForPeripherals();
  settle();
  bench->putOnAir(device);
  waitUntil([&] { return !discovered(kName).empty(); });
  peripheral = recorder.last(What::discover).peripheral;
  peripheral->setDelegate(&recorder);
  settle();
}

void TrafficTest::connect() {
  if (peripheral) {
    bench->vanish(device);
    manager->scanForPeripherals();
    settle();
    bench->appear(device);
    settle();
  } else {
    discover();
  }
  manager->connect(peripheral);
  const auto isUp = [&] {
    bool isConnected = false;
    bench->onDevices([&] { isConnected = device.isConnected(); });
    return isConnected;
  };
  waitUntil(isUp);
  settle();
  manager->stopScan();
  settle();
}

void TrafficTest::find() {
  connect();
  ContractTest::find();
  settle();
}

void TrafficTest::write(lab::CharacteristicIndex which, const Bytes& value) {
  peripheral->writeValue(value, at(which), platform::CBCharacteristicWriteType::withResponse);
}

bool TrafficTest::waitForValue(const Bytes& value) {
  return waitUntil([&] {
    return std::ranges::any_of(recorder.events(), [&](const Recorder::Event& event) {
      return event.what == What::value && event.value == value;
    });
  });
}

TEST_P(TrafficTest, Scan) {
  step("start");
  start();
  step("scan");
  manager->scanForPeripherals();
  step("one device");
  bench->putOnAir(device);
  ASSERT_TRUE(waitUntil([&] { return timesDiscovered(kName) == 1; }));
  step("another device");
  bench->putOnAir(otherDevice);
  ASSERT_TRUE(waitUntil([&] { return timesDiscovered("Contract-2") == 1; }));
  step("scan again");
  manager->scanForPeripherals();
  ASSERT_TRUE(waitUntil([&] { return timesDiscovered(kName) == 2; }));
  step("stop");
  manager->stopScan();
  step("devices are forgotten");
  runFor(60);
}

TEST_P(TrafficTest, NameComesLater) {
  device.setName("");
  start();
  manager->scanForPeripherals();
  step("device without a name");
  bench->putOnAir(device);
  ASSERT_TRUE(waitFor(What::discover));
  step("name");
  order([](ContractDevice& model) { model.setName(kName); });
  ASSERT_TRUE(waitUntil([&] { return timesDiscovered(kName) == 1; }));
}

TEST_P(TrafficTest, Connect) {
  discover();
  step("connect");
  manager->connect(peripheral);
  ASSERT_TRUE(waitFor(What::connect));
  step("stop the scan");
  manager->stopScan();
  step("services");
  ContractTest::find();
}

TEST_P(TrafficTest, NextBridge) {
  find();
  step("restart of the bridge");
  restart();
  start();
  step("scan");
  manager->scanForPeripherals();
  ASSERT_TRUE(waitUntil([&] { return timesDiscovered(kName) == 1; }));
}

TEST_P(TrafficTest, Read) {
  find();
  order([](ContractDevice& model) { model.setValue(kReadable, {1, 2, 3}); });
  step("read");
  peripheral->readValue(at(kReadable));
  ASSERT_TRUE(waitForValue({1, 2, 3}));
  step("read the same again");
  peripheral->readValue(at(kReadable));
  ASSERT_TRUE(waitFor(What::value, 2));
  step("read what has no bytes");
  peripheral->readValue(at(kLast));
  ASSERT_TRUE(waitFor(What::value, 3));
  step("read what may not be read");
  peripheral->readValue(at(kUnreadable));
  ASSERT_TRUE(waitFor(What::value, 4));
}

TEST_P(TrafficTest, Write) {
  find();
  step("write");
  write(kWritable, {1});
  ASSERT_TRUE(waitUntilDone({Act::write, kWritable, {1}}));
  step("write more");
  write(kWritable, numberedValues(8).back());
  ASSERT_TRUE(waitUntilDone({Act::write, kWritable, numberedValues(8).back()}));
  step("write what may not be written");
  write(kUnwritable, {2});
  ASSERT_TRUE(waitUntilDone({Act::write, kUnwritable, {2}}));
}

TEST_P(TrafficTest, Subscribe) {
  find();
  step("subscribe");
  subscribe(kStream);
  step("values");
  order([](ContractDevice& model) { model.send(kStream, numberedValues(3)); });
  ASSERT_TRUE(waitFor(What::value, 3));
  step("read meanwhile");
  order([](ContractDevice& model) { model.setValue(kStream, {9}); });
  peripheral->readValue(at(kStream));
  ASSERT_TRUE(waitForValue({9}));
  step("end");
  peripheral->setNotifyValue(false, at(kStream));
  ASSERT_TRUE(waitUntilDone({Act::unsubscribe, kStream, {}}));
  step("subscribe again");
  subscribe(kStream);
}

TEST_P(TrafficTest, SubscribeToIndications) {
  find();
  step("subscribe");
  subscribe(kIndicated);
  step("values");
  order([](ContractDevice& model) { model.send(kIndicated, numberedValues(3)); });
  ASSERT_TRUE(waitFor(What::value, 3));
  step("end");
  peripheral->setNotifyValue(false, at(kIndicated));
  ASSERT_TRUE(waitUntilDone({Act::unsubscribe, kIndicated, {}}));
}

TEST_P(TrafficTest, RefusedSubscription) {
  find();
  step("subscribe");
  peripheral->setNotifyValue(true, at(kRefused));
  ASSERT_TRUE(waitFor(What::notificationState));
  step("read");
  peripheral->readValue(at(kReadable));
  ASSERT_TRUE(waitFor(What::value));
}

TEST_P(TrafficTest, LinkLostDuringRequests) {
  find();
  subscribe(kStream);
  order([](ContractDevice& model) { model.dropAtNextRead(); });
  step("loss");
  peripheral->readValue(at(kReadable));
  peripheral->readValue(at(kLast));
  write(kWritable, {1});
  waitForLinkDown();
  step("requests without a link");
  peripheral->readValue(at(kReadable));
  step("link again");
  find();
  step("requests");
  peripheral->readValue(at(kReadable));
  ASSERT_TRUE(waitFor(What::value));
}

TEST_P(TrafficTest, DeviceGoneAndBack) {
  find();
  step("gone");
  bench->vanish(device);
  waitForLinkDown();
  step("long gone");
  runFor(60);
  step("wanted");
  manager->connect(peripheral);
  step("back");
  bench->appear(device);
  ASSERT_TRUE(waitFor(What::connect, 2));
}

TEST_P(TrafficTest, ConnectToASilentDevice) {
  discover();
  bench->vanish(device);
  step("connect");
  manager->connect(peripheral);
  const auto hasFailed = [&] {
    return stack().traffic().text().find("Connect Contract-1 fails") != std::string::npos;
  };
  ASSERT_TRUE(waitUntil(hasFailed));
  bench->appear(device);
  ASSERT_TRUE(waitFor(What::connect));
}

TEST_P(TrafficTest, PowerOffWhileScanning) {
  discover();
  bench->vanish(device);
  step("off");
  bench->setPowered(false);
  ASSERT_TRUE(waitFor(What::state, 2));
  step("on");
  bench->setPowered(true);
  ASSERT_TRUE(waitFor(What::state, 3));
  step("scan");
  manager->scanForPeripherals();
  step("device");
  bench->appear(device);
  ASSERT_TRUE(waitUntil([&] { return timesDiscovered(kName) == 2; }));
}

TEST_P(TrafficTest, PowerOffWhileConnected) {
  find();
  subscribe(kStream);
  step("off");
  bench->setPowered(false);
  ASSERT_TRUE(waitFor(What::state, 2));
  step("on");
  bench->setPowered(true);
  ASSERT_TRUE(waitFor(What::state, 3));
}

// The kernel would go on discovering for a bluetoothd that is killed, for 10 s.
TEST_P(TrafficTest, StackEndsAndReturns) {
  discover();
  manager->stopScan();
  step("end");
  stack().killStack();
  ASSERT_TRUE(waitFor(What::state, 2));
  step("return");
  stack().startStack();
  ASSERT_TRUE(waitFor(What::state, 3));
}

TEST_P(TrafficTest, StackIsStoppedWhileConnected) {
  find();
  subscribe(kStream);
  step("end");
  stack().stopStack();
  ASSERT_TRUE(waitFor(What::state, 2));
  waitForLinkDown();
}

TEST_P(TrafficTest, StackEndsWhileConnected) {
  find();
  subscribe(kStream);
  step("end");
  stack().killStack();
  ASSERT_TRUE(waitFor(What::state, 2));
  waitForLinkDown();
  step("return");
  stack().startStack();
  ASSERT_TRUE(waitFor(What::state, 3));
}

TEST_P(TrafficTest, AnotherDiscovers) {
  step("start");
  start();
  step("another begins");
  stack().discoverForAnother(true);
  step("device");
  bench->putOnAir(device);
  runFor(2);
  step("scan");
  manager->scanForPeripherals();
  ASSERT_TRUE(waitUntil([&] { return timesDiscovered(kName) == 1; }));
  step("stop");
  manager->stopScan();
  step("scan again");
  manager->scanForPeripherals();
  step("another ends");
  stack().discoverForAnother(false);
}

}  // namespace contract
