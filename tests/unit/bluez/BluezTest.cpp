#include "BluezTest.h"

#include <chrono>

namespace bluez_tests {

using platform::CBCharacteristic;
using platform::CBPeripheral;
using platform::CBService;
using platform::CBUUID;
using platform::Error;

namespace {

std::optional<Error> copyOf(const Error* error) {
  return error != nullptr ? std::optional(*error) : std::nullopt;
}

}  // namespace

std::string longForm(const CBUUID& uuid) {
  return "0000" + uuid.description() + "-0000-1000-8000-00805f9b34fb";
}

BluezTest::BluezTest() {
  startPlatform();
  bus.accept();
}

BluezTest::~BluezTest() = default;

void BluezTest::startPlatform() {
  platform.reset();
  bus.hangUp();
  platform = std::make_unique<platform::bluez::BluezPlatform>(
      std::make_unique<support::AgendaClock>(agenda, bus));
}

bool BluezTest::waitUntil(const std::function<bool()>& condition) {
  const double limit = platform->now() + 20;
  while (!condition() && platform->now() < limit) {
    platform->runUntil(platform->now() + 0.002);
    if (bluez) bluez->serve();
  }
  return condition();
}

// What one message sets off is over after a few exchanges: a call, its reply, and the calls that
// follow from the reply.
void BluezTest::settle() {
  for (int i = 0; i < 25; ++i) {
    platform->runUntil(platform->now() + 0.004);
    if (bluez) bluez->serve();
  }
}

void BluezTest::pass(lab::Microseconds time) {
  settle();
  leap(time);
}

void BluezTest::leap(lab::Microseconds time) {
  agenda.passUntil(agenda.now() + time);
}

Interfaces BluezTest::adapter(bool isPowered, const std::string& address) {
  return {{kAdapterInterface, {{"Powered", isPowered}, {"Address", address}}}};
}

Interfaces BluezTest::device(const std::string& name, bool isConnected) {
  Properties properties{{"Alias", std::string("Alias of a device")},
                        {"Connected", isConnected},
                        {"ServicesResolved", isConnected}};
  if (!name.empty()) properties["Name"] = name;
  return {{kDeviceInterface, properties}};
}

Interfaces BluezTest::service(const CBUUID& uuid, bool isPrimary) {
  return {{kServiceInterface, {{"UUID", longForm(uuid)}, {"Primary", isPrimary}}}};
}

Interfaces BluezTest::characteristic(const CBUUID& uuid) {
  return {{kCharacteristicInterface, {{"UUID", longForm(uuid)}, {"Value", Bytes{}}}}};
}

void BluezTest::start() {
  manager = platform->makeCentralManager(*this);
}

void BluezTest::startPoweredOn() {
  bluez->objects[kAdapter] = adapter(true);
  start();
  ASSERT_TRUE(waitUntil([&] { return !states.empty(); }));
  ASSERT_EQ(states.back(), platform::CBManagerState::poweredOn);
}

void BluezTest::discover() {
  startPoweredOn();
  manager->scanForPeripherals();
  ASSERT_TRUE(waitUntil([&] { return bluez->count(kAdapter, "StartDiscovery") == 1; }));
  bluez->add(kDevice, device("Tramsel-1"));
  bluez->change(kDevice, kDeviceInterface, {{"RSSI", std::int16_t{-40}}});
  ASSERT_TRUE(waitUntil([&] { return !reports.empty(); }));
  peripheral = reports.back();
  peripheral->setDelegate(this);
}

void BluezTest::connect() {
  discover();
  manager->connect(peripheral);
  ASSERT_TRUE(waitUntil([&] { return bluez->count(kDevice, "Connect") == 1; }));
  bluez->change(kDevice, kDeviceInterface, {{"Connected", true}});
  ASSERT_TRUE(waitUntil([&] { return connections == 1; }));
}

void BluezTest::connectAndDiscover() {
  connect();
  const std::string path = std::string(kDevice) + "/service000a";
  bluez->objects[path] = service(kService);
  bluez->objects[path + "/char000b"] = characteristic(kStream);
  bluez->objects[path + "/char000d"] = characteristic(kOther);
  bluez->change(kDevice, kDeviceInterface, {{"ServicesResolved", true}});
  peripheral->discoverServices(std::vector{kService});
  ASSERT_TRUE(waitUntil([&] { return !serviceAnswers.empty(); }));
  ASSERT_EQ(peripheral->services()->size(), 1U);
  CBService& found = *peripheral->services()->front();
  peripheral->discoverCharacteristics(std::vector{kStream, kOther}, found);
  ASSERT_TRUE(waitUntil([&] { return found.characteristics() != nullptr; }));
  ASSERT_EQ(found.characteristics()->size(), 2U);
  told.clear();
}

void BluezTest::dropLink() {
  bluez->change(kDevice, kDeviceInterface, {{"ServicesResolved", false}});
  bluez->change(kDevice, kDeviceInterface, {{"Connected", false}});
}

CBCharacteristic& BluezTest::at(const CBUUID& uuid) {
  for (CBCharacteristic* each : *peripheral->services()->front()->characteristics()) {
    if (each->UUID() == uuid) return *each;
  }
  throw std::runtime_error("no such characteristic");
}

std::vector<Bytes> BluezTest::values() const {
  std::vector<Bytes> all;
  for (const ValueEvent& event : valueEvents) {
    if (event.value) all.push_back(*event.value);
  }
  return all;
}

void BluezTest::centralManagerDidUpdateState(platform::CBCentralManager& central) {
  states.push_back(central.state());
}

void BluezTest::centralManagerDidDiscover(platform::CBCentralManager& /*central*/,
                                          const std::shared_ptr<CBPeripheral>& found) {
  reports.push_back(found);
}

void BluezTest::centralManagerDidConnect(platform::CBCentralManager& /*central*/,
                                         const std::shared_ptr<CBPeripheral>& /*connected*/) {
  ++connections;
}

void BluezTest::peripheralDidDiscoverServices(CBPeripheral& /*from*/, const Error* error) {
  told.emplace_back(error != nullptr ? "services failed" : "services");
  serviceAnswers.push_back(copyOf(error));
}

void BluezTest::peripheralDidDiscoverCharacteristicsFor(CBPeripheral& /*from*/,
                                                        CBService& /*service*/,
                                                        const Error* /*error*/) {
  told.emplace_back("characteristics");
}

void BluezTest::peripheralDidUpdateValueFor(CBPeripheral& /*from*/, CBCharacteristic& which,
                                            const Error* error) {
  std::optional<Bytes> value;
  if (which.value()) value.emplace(which.value()->begin(), which.value()->end());
  told.emplace_back(error != nullptr ? "read failed" : "value");
  valueEvents.push_back({&which, value, copyOf(error)});
}

void BluezTest::peripheralDidUpdateNotificationStateFor(CBPeripheral& /*from*/,
                                                        CBCharacteristic& /*which*/,
                                                        const Error* error) {
  told.emplace_back(error != nullptr ? "refused" : "confirmed");
  confirmations.push_back(copyOf(error));
}

}  // namespace bluez_tests
