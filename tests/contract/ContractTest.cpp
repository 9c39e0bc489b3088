#include "contract/ContractTest.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>

namespace contract {
namespace {

constexpr double kPatience = 60;  // seconds, of the platform's time
constexpr double kTurn = 0.02;

// In real time. Driven time passes at once: another thread may not even have started when kPatience
// is over.
constexpr auto kLeastPatience = std::chrono::seconds(2);

// Ends the test when a step has failed: GoogleTest reports the exception.
void need(bool condition, const char* otherwise) {
  if (!condition) throw std::runtime_error(otherwise);
}

}  // namespace

bool ContractTest::waitUntil(const std::function<bool()>& condition) {
  const double limit = platform().now() + kPatience;
  const auto realLimit = std::chrono::steady_clock::now() + kLeastPatience;
  while (!condition()) {
    const bool isLate = platform().now() > limit;
    if (isLate && std::chrono::steady_clock::now() > realLimit) return false;
    runFor(kTurn);
  }
  return true;
}

bool ContractTest::waitFor(What what, std::size_t times) {
  return waitUntil([&] { return recorder.count(what) >= times; });
}

void ContractTest::settle() {
  runFor(bench->settlingTime());
}

void ContractTest::runFor(double seconds) {
  recorder.setServing(true);
  platform().runUntil(platform().now() + seconds);
  recorder.setServing(false);
}

void ContractTest::start() {
  if (!manager) manager = platform().makeCentralManager(recorder);
  need(waitFor(What::state), "no state");
  need(manager->state() == CBManagerState::poweredOn, "the radio is not powered on");
}

void ContractTest::discover() {
  start();
  bench->putOnAir(device);
  manager->scanForPeripherals();
  need(waitUntil([&] { return !discovered(kName).empty(); }), "device not discovered");
  for (const Recorder::Event& event : recorder.events()) {
    if (event.name == kName) peripheral = event.peripheral;
  }
  peripheral->setDelegate(&recorder);
}

void ContractTest::connect() {
  if (!peripheral) discover();
  manager->stopScan();
  const std::size_t before = recorder.count(What::connect);
  manager->connect(peripheral);
  need(waitFor(What::connect, before + 1), "not connected");
  need(recorder.last(What::connect).peripheral == peripheral, "another device connected");
}

void ContractTest::find() {
  connect();
  const std::size_t services = recorder.count(What::services);
  const std::size_t before = recorder.count(What::characteristics);
  const std::vector<CBUUID> wanted = serviceIdentifiers();
  peripheral->discoverServices(wanted);
  need(waitFor(What::services, services + 1), "service discovery not answered");
  need(peripheral->services() != nullptr, "service discovery failed");
  need(peripheral->services()->size() == wanted.size(), "services missing");
  for (CBService* service : *peripheral->services()) {
    peripheral->discoverCharacteristics(characteristicIdentifiers(), *service);
  }
  need(waitFor(What::characteristics, before + wanted.size()), "characteristics not found");
}

void ContractTest::dropLink() {
  order([](ContractDevice& model) { model.drop(); });
  waitForLinkDown();
}

void ContractTest::waitForLinkDown() {
  const auto isDown = [&] {
    bool isConnected = true;
    bench->onDevices([&] { isConnected = device.isConnected(); });
    return !isConnected;
  };
  need(waitUntil(isDown), "the link did not go down");
  settle();
}

void ContractTest::restart() {
  peripheral.reset();
  recorder.forget();
  manager.reset();
  bench->restartPlatform();
}

CBCharacteristic& ContractTest::at(lab::CharacteristicIndex characteristic) {
  const CBUUID wanted = uuid(identifierOf(characteristic));
  for (const CBService* service : *peripheral->services()) {
    for (CBCharacteristic* found : *service->characteristics()) {
      if (found->UUID() == wanted) return *found;
    }
  }
  throw std::runtime_error("characteristic not found: " + identifierOf(characteristic));
}

void ContractTest::subscribe(lab::CharacteristicIndex characteristic) {
  const std::size_t before = recorder.count(What::notificationState);
  peripheral->setNotifyValue(true, at(characteristic));
  need(waitFor(What::notificationState, before + 1), "subscription not answered");
  need(!recorder.last(What::notificationState).error, "subscription refused");
}

std::vector<Done> ContractTest::done() {
  std::vector<Done> seen;
  bench->onDevices([&] { seen = device.done(); });
  return seen;
}

bool ContractTest::waitUntilDone(const Done& expected) {
  return waitUntil([&] {
    const std::vector<Done> seen = done();
    return std::find(seen.begin(), seen.end(), expected) != seen.end();
  });
}

void ContractTest::order(const std::function<void(ContractDevice&)>& action) {
  bench->onDevices([&] { action(device); });
}

std::set<const CBPeripheral*> ContractTest::discovered(const std::string& name) const {
  std::set<const CBPeripheral*> found;
  for (const Recorder::Event& event : recorder.events()) {
    if (event.what == What::discover && event.name == name) found.insert(event.peripheral.get());
  }
  return found;
}

std::size_t ContractTest::timesDiscovered(const std::string& name) const {
  const auto isIt = [&](const Recorder::Event& event) {
    return event.what == What::discover && event.name == name;
  };
  const auto& events = recorder.events();
  return static_cast<std::size_t>(std::count_if(events.begin(), events.end(), isIt));
}

CBUUID uuid(const std::string& text) {
  return CBUUID::parse(text).value();
}

std::vector<CBUUID> serviceIdentifiers() {
  return {uuid(kFirstService), uuid(kSecondService), uuid(kThirdService)};
}

std::vector<CBUUID> characteristicIdentifiers() {
  std::vector<CBUUID> identifiers;
  for (lab::CharacteristicIndex i = kReadable; i <= kLast; ++i) {
    identifiers.push_back(uuid(identifierOf(i)));
  }
  return identifiers;
}

testing::AssertionResult areEqual(const std::vector<Bytes>& values,
                                  const std::vector<Bytes>& expected) {
  if (values == expected) return testing::AssertionSuccess();
  const auto [first, wanted] =
      std::mismatch(values.begin(), values.end(), expected.begin(), expected.end());
  auto failure = testing::AssertionFailure();
  failure << values.size() << " values, expected " << expected.size()
          << "; the first difference at " << first - values.begin();
  if (first != values.end()) failure << ", " << testing::PrintToString(*first);
  if (wanted != expected.end()) failure << ", expected " << testing::PrintToString(*wanted);
  return failure;
}

std::vector<Bytes> numberedValues(std::size_t count) {
  std::vector<Bytes> values;
  for (std::size_t i = 0; i < count; ++i) {
    values.push_back({static_cast<std::uint8_t>(i), static_cast<std::uint8_t>(i >> 8),
                      static_cast<std::uint8_t>(i >> 16), 0x5A});
  }
  return values;
}

}  // namespace contract
