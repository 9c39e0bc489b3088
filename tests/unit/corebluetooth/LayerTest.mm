// What the layer makes of the framework's own ways, beyond what every platform promises.
#import <CoreBluetooth/CoreBluetooth.h>
#include <gtest/gtest.h>

#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "contract/Recorder.h"
#include "lab/models/Models.h"
#include "platform/Platform.h"
#include "support/corebluetooth/Air.h"

namespace {

using contract::Recorder;
using platform::CBCharacteristic;
using platform::CBPeripheral;
using platform::CBService;
using platform::CBUUID;
using standin::Air;
using What = Recorder::What;

constexpr CBUUID kBatteryService = CBUUID::UUIDWithString("180F");
constexpr CBUUID kBattery = CBUUID::UUIDWithString("2A19");
constexpr CBUUID kMotionService = CBUUID::UUIDWithString("EF680400-9B35-4933-9B10-52FFA9740042");
constexpr CBUUID kMotion = CBUUID::UUIDWithString("EF680408-9B35-4933-9B10-52FFA9740042");

class Layer : public testing::Test {
 protected:
  void SetUp() override {
    Air::shared().setSeed(seed);
    Air::shared().add(*model);
  }

  ~Layer() override {
    manager.reset();
    system.reset();
    EXPECT_EQ(Air::shared().misuses, 0U);
    if (HasFailure()) std::cout << "VORNIX_SEED=" << seed << '\n';
    Air::shared().clear();
  }

  void runFor(double seconds) {
    recorder.setServing(true);
    system->runUntil(system->now() + seconds);
    recorder.setServing(false);
  }
  void settle() { runFor(1); }

  bool waitFor(What what, std::size_t times = 1) {
    const double limit = system->now() + 30;
    while (recorder.count(what) < times && system->now() < limit) runFor(0.01);
    return recorder.count(what) >= times;
  }

  // Gives nobody but the caller the peripheral.
  std::shared_ptr<CBPeripheral> discovered() {
    manager = system->makeCentralManager(recorder);
    EXPECT_TRUE(waitFor(What::state));
    manager->scanForPeripherals();
    EXPECT_TRUE(waitFor(What::discover));
    auto peripheral = recorder.last(What::discover).peripheral;
    recorder.forget();
    peripheral->setDelegate(&recorder);
    return peripheral;
  }

  std::shared_ptr<CBPeripheral> connected() {
    auto peripheral = discovered();
    manager->connect(peripheral);
    EXPECT_TRUE(waitFor(What::connect));
    recorder.forget();
    return peripheral;
  }

  CBCharacteristic& found(CBPeripheral& peripheral, const CBUUID& inService,
                          const CBUUID& characteristic) {
    peripheral.discoverServices({&inService, 1});
    EXPECT_TRUE(waitFor(What::services));
    CBService& service = *peripheral.services()->front();
    peripheral.discoverCharacteristics({&characteristic, 1}, service);
    EXPECT_TRUE(waitFor(What::characteristics));
    recorder.forget();
    return *service.characteristics()->front();
  }
  CBCharacteristic& battery(CBPeripheral& peripheral) {
    return found(peripheral, kBatteryService, kBattery);
  }
  CBCharacteristic& motion(CBPeripheral& peripheral) {
    return found(peripheral, kMotionService, kMotion);
  }

  standin::Faults& faults() { return Air::shared().faultsOf(*model); }
  void loseLink() {
    Air::shared().vanish(*model);
    Air::shared().appear(*model);
  }

  std::uint64_t seed = standin::nextSeed();
  std::unique_ptr<lab::BenchDevice> model = lab::makeDevice("tramsel");
  Recorder recorder;
  std::unique_ptr<platform::Platform> system = platform::makePlatform();
  std::unique_ptr<platform::CBCentralManager> manager;
};

TEST_F(Layer, HoldsNothingThatNobodyElseHolds) {
  const std::size_t before = Air::shared().objects;
  {
    auto peripheral = connected();
    battery(*peripheral);
    EXPECT_GT(Air::shared().objects, before);
  }
  manager->stopScan();
  settle();
  recorder.forget();
  EXPECT_EQ(Air::shared().objects, before + 1);  // the manager
  manager.reset();
  EXPECT_EQ(Air::shared().objects, before);
}

TEST_F(Layer, DropsADeviceThatNobodyWants) {
  const auto other = lab::makeDevice("tramsel");
  Air::shared().add(*other);
  const auto peripheral = discovered();
  manager->stopScan();
  settle();
  recorder.forget();
  EXPECT_EQ(Air::shared().objects, 2U);  // the manager and the one that is held
}

TEST_F(Layer, PassesOnTheErrorAsTheFrameworkPrintsIt) {
  model->control("fault refuse-read=2A19:5");
  const auto peripheral = connected();
  CBCharacteristic& characteristic = battery(*peripheral);
  peripheral->readValue(characteristic);
  ASSERT_TRUE(waitFor(What::value));
  const platform::Error error = *recorder.last(What::value).error;
  EXPECT_EQ(error.domain, "CBATTErrorDomain");
  EXPECT_EQ(error.code, 5);
  EXPECT_EQ(error.localizedDescription(), "The device answered 0x05.");
  @autoreleasepool {
    NSDictionary* const details = @{NSLocalizedDescriptionKey : @"The device answered 0x05."};
    NSError* const native = [NSError errorWithDomain:CBATTErrorDomain code:5 userInfo:details];
    EXPECT_EQ(error.description(), [[native description] UTF8String]);
  }
}

TEST_F(Layer, DeliversNoEarlierValueWhenAReadFails) {
  const auto peripheral = connected();
  CBCharacteristic& characteristic = battery(*peripheral);
  peripheral->readValue(characteristic);
  ASSERT_TRUE(waitFor(What::value));
  EXPECT_TRUE(recorder.last(What::value).value);
  model->control("fault refuse-read=2A19");
  peripheral->readValue(characteristic);
  ASSERT_TRUE(waitFor(What::value, 2));
  EXPECT_TRUE(recorder.last(What::value).error);
  EXPECT_FALSE(recorder.last(What::value).value);
}

TEST_F(Layer, AnswersAServiceDiscoveryThatTheLossOfTheLinkLeavesOpen) {
  const auto peripheral = connected();
  faults().isSilent = true;
  peripheral->discoverServices({&kBatteryService, 1});
  settle();
  EXPECT_EQ(recorder.count(What::services), 0U);
  loseLink();
  settle();
  ASSERT_EQ(recorder.count(What::services), 1U);
  EXPECT_EQ(recorder.last(What::services).error->code, CBErrorPeripheralDisconnected);
}

TEST_F(Layer, AnswersAServiceDiscoveryOnceWhereTheFrameworkAnswersItToo) {
  const auto peripheral = connected();
  faults().isSilent = true;
  faults().failsWaitingRequests = true;
  peripheral->discoverServices({&kBatteryService, 1});
  settle();
  loseLink();
  settle();
  ASSERT_EQ(recorder.count(What::services), 1U);
  EXPECT_TRUE(recorder.last(What::services).error);
}

TEST_F(Layer, AnswersAServiceDiscoveryWhenTheRadioIsReset) {
  const auto peripheral = connected();
  faults().isSilent = true;
  peripheral->discoverServices({&kBatteryService, 1});
  settle();
  Air::shared().setState(CBManagerStateResetting);
  settle();
  ASSERT_EQ(recorder.count(What::services), 1U);
  EXPECT_TRUE(recorder.last(What::services).error);
}

TEST_F(Layer, ReportsNoRequestThatTheFrameworkFailsForTheLinkIsLost) {
  const auto peripheral = connected();
  CBCharacteristic& characteristic = battery(*peripheral);
  CBService& service = *peripheral->services()->front();
  faults().isSilent = true;
  faults().failsWaitingRequests = true;
  peripheral->readValue(characteristic);
  peripheral->setNotifyValue(true, characteristic);
  peripheral->discoverCharacteristics({&kBattery, 1}, service);
  settle();
  loseLink();
  settle();
  EXPECT_TRUE(recorder.events().empty());
}

TEST_F(Layer, DiscoversOnANewLinkWhatALostOneLeftOpen) {
  const auto peripheral = connected();
  battery(*peripheral);
  faults().isSilent = true;
  peripheral->discoverCharacteristics({&kBattery, 1}, *peripheral->services()->front());
  settle();
  loseLink();
  settle();
  faults().isSilent = false;
  manager->connect(peripheral);
  ASSERT_TRUE(waitFor(What::connect));
  EXPECT_EQ(battery(*peripheral).UUID(), kBattery);
}

TEST_F(Layer, FailedServiceDiscoveryHasNoServices) {
  faults().discoveryError = 14;
  const auto peripheral = connected();
  peripheral->discoverServices({&kBatteryService, 1});
  ASSERT_TRUE(waitFor(What::services));
  EXPECT_EQ(recorder.last(What::services).error->code, 14);
  EXPECT_EQ(peripheral->services(), nullptr);
}

TEST_F(Layer, KeepsADeviceWhoseLinkIsAskedFor) {
  auto peripheral = discovered();
  Air::shared().vanish(*model);
  manager->connect(peripheral);
  const CBPeripheral* const before = peripheral.get();
  peripheral.reset();
  settle();
  Air::shared().appear(*model);
  ASSERT_TRUE(waitFor(What::connect));
  EXPECT_EQ(recorder.last(What::connect).peripheral.get(), before);
}

TEST_F(Layer, LeavesAFailedConnectionAlone) {
  const auto peripheral = discovered();
  faults().failedConnections = 1000;
  manager->connect(peripheral);
  settle();
  EXPECT_EQ(recorder.count(What::connect), 0U);
  EXPECT_EQ(Air::shared().connectionAttempts, 1U);
}

TEST_F(Layer, TellsALinkOnceThatTheFrameworkTellsTwice) {
  const auto peripheral = discovered();
  faults().connectsTwice = true;
  manager->connect(peripheral);
  ASSERT_TRUE(waitFor(What::connect));
  settle();
  EXPECT_EQ(recorder.count(What::connect), 1U);
}

TEST_F(Layer, AsksForALinkToADeviceThatAnotherProgramHolds) {
  const auto peripheral = discovered();
  Air::shared().holdByAnother(*model);
  manager->connect(peripheral);
  ASSERT_TRUE(waitFor(What::connect));
  EXPECT_EQ(battery(*peripheral).UUID(), kBattery);
}

TEST_F(Layer, AsksForALinkToADeviceThatAnotherProgramHeldBeforeTheScan) {
  Air::shared().holdByAnother(*model);
  const auto peripheral = discovered();
  manager->connect(peripheral);
  ASSERT_TRUE(waitFor(What::connect));
  EXPECT_EQ(battery(*peripheral).UUID(), kBattery);
}

TEST_F(Layer, AsksNothingOfADeviceThatOnlyAnotherProgramHolds) {
  const auto peripheral = discovered();
  Air::shared().holdByAnother(*model);
  peripheral->discoverServices({&kBatteryService, 1});
  ASSERT_TRUE(waitFor(What::services));
  EXPECT_TRUE(recorder.last(What::services).error);
}

// The radio is reset: every object of the framework is good for nothing from then on.
class Reset : public Layer {
 protected:
  void reset() {
    Air::shared().setState(CBManagerStateResetting);
    settle();
    Air::shared().setState(CBManagerStatePoweredOn);
  }
};

TEST_F(Reset, KeepsARequestForALink) {
  const auto peripheral = discovered();
  Air::shared().vanish(*model);
  manager->connect(peripheral);
  settle();
  reset();
  Air::shared().appear(*model);
  ASSERT_TRUE(waitFor(What::connect));
  EXPECT_EQ(recorder.last(What::connect).peripheral, peripheral);
  EXPECT_EQ(battery(*peripheral).UUID(), kBattery);
}

TEST_F(Reset, EndsARequestForALinkThatHasFailed) {
  const auto peripheral = discovered();
  faults().failedConnections = 1;
  manager->connect(peripheral);
  settle();
  reset();
  ASSERT_TRUE(waitFor(What::state, 2));
  settle();
  EXPECT_EQ(recorder.count(What::connect), 0U);
  EXPECT_EQ(Air::shared().connectionAttempts, 1U);
  manager->connect(peripheral);
  EXPECT_TRUE(waitFor(What::connect));
}

TEST_F(Reset, LeavesADeviceTheSameForANewScan) {
  const auto peripheral = discovered();
  reset();
  ASSERT_TRUE(waitFor(What::state, 2));
  manager->scanForPeripherals();
  ASSERT_TRUE(waitFor(What::discover));
  EXPECT_EQ(recorder.last(What::discover).peripheral, peripheral);
}

TEST_F(Reset, AllowsANewLink) {
  const auto peripheral = connected();
  battery(*peripheral);
  reset();
  ASSERT_TRUE(waitFor(What::state, 2));
  manager->connect(peripheral);
  ASSERT_TRUE(waitFor(What::connect));
  EXPECT_EQ(battery(*peripheral).UUID(), kBattery);
}

TEST_F(Reset, EndsTheLinkWhateverTheOldObjectSays) {
  const auto peripheral = connected();
  reset();
  ASSERT_TRUE(waitFor(What::state, 2));
  peripheral->discoverServices({&kBatteryService, 1});
  ASSERT_TRUE(waitFor(What::services));
  EXPECT_TRUE(recorder.last(What::services).error);
}

TEST_F(Layer, KeepsAValueUntilItsSubscriptionIsConfirmed) {
  model->control("rate 200");
  const auto peripheral = connected();
  CBCharacteristic& characteristic = motion(*peripheral);
  peripheral->setNotifyValue(true, characteristic);
  ASSERT_TRUE(waitFor(What::value, 3));
  EXPECT_EQ(recorder.events().front().what, What::notificationState);
  EXPECT_EQ(recorder.values(characteristic).front()[0], 0);  // the model counts its values
  EXPECT_EQ(recorder.values(characteristic)[1][0], 1);
}

TEST_F(Layer, FindsServicesAgainThatBecameInvalid) {
  model->control("rate 200");
  const auto peripheral = connected();
  CBCharacteristic& characteristic = motion(*peripheral);
  peripheral->setNotifyValue(true, characteristic);
  ASSERT_TRUE(waitFor(What::value, 3));
  Air::shared().modifyServices(*model);
  settle();
  recorder.forget();
  ASSERT_TRUE(waitFor(What::value, 3));
  EXPECT_EQ(recorder.events().size(), recorder.values(characteristic).size());
}

TEST_F(Layer, CarriesOutWhatIsAskedWhileServicesAreInvalid) {
  const auto peripheral = connected();
  CBCharacteristic& characteristic = battery(*peripheral);
  Air::shared().modifyServices(*model);
  peripheral->readValue(characteristic);
  peripheral->discoverCharacteristics({&kBattery, 1}, *peripheral->services()->front());
  peripheral->discoverServices({&kBatteryService, 1});
  ASSERT_TRUE(waitFor(What::services));
  EXPECT_FALSE(recorder.last(What::services).error);
  EXPECT_EQ(peripheral->services()->size(), 1U);
  EXPECT_TRUE(waitFor(What::characteristics));
  EXPECT_FALSE(recorder.last(What::characteristics).error);
  ASSERT_TRUE(waitFor(What::value));
  EXPECT_TRUE(recorder.last(What::value).value);
  settle();
  EXPECT_EQ(recorder.events().size(), 3U);
}

// At every moment of that.
TEST_F(Layer, CarriesOutWhatIsAskedWhileServicesAreFoundAgain) {
  Air::shared().setSeed(1);
  const auto peripheral = connected();
  CBCharacteristic& characteristic = battery(*peripheral);
  for (int milliseconds = 0; milliseconds < 40; ++milliseconds) {
    Air::shared().modifyServices(*model);
    runFor(milliseconds * 1e-3);
    peripheral->readValue(characteristic);
    ASSERT_TRUE(waitFor(What::value)) << milliseconds;
    EXPECT_TRUE(recorder.last(What::value).value) << milliseconds;
    settle();
    EXPECT_EQ(recorder.events().size(), 1U) << milliseconds;
    recorder.forget();
  }
}

TEST_F(Layer, AnswersAServiceDiscoveryWhenTheLinkIsLostWhileServicesAreInvalid) {
  const auto peripheral = connected();
  battery(*peripheral);
  Air::shared().modifyServices(*model);
  faults().isSilent = true;
  peripheral->discoverServices({&kBatteryService, 1});
  settle();
  EXPECT_EQ(recorder.count(What::services), 0U);
  loseLink();
  settle();
  ASSERT_EQ(recorder.count(What::services), 1U);
  EXPECT_TRUE(recorder.last(What::services).error);
}

TEST_F(Layer, TakesTheNameByWhichTheDeviceIsKnown) {
  faults().localName = "Something else";
  const auto peripheral = discovered();
  EXPECT_EQ(peripheral->name(), model->name());
}

TEST_F(Layer, ReportsADeviceOnceHoweverOftenItAdvertises) {
  const auto peripheral = discovered();
  runFor(1);
  EXPECT_EQ(recorder.count(What::discover), 0U);
}

// Whose reader stalls.
class StalledOutput final : public platform::Output {
 public:
  bool isStalled = true;

  bool holdsBack() const override { return isStalled; }
  void letOut() override {}
  int descriptor() const override { return -1; }
};

TEST_F(Layer, ReportsADeviceOnceInANewScanAlsoWhereAnEarlierReportWaits) {
  StalledOutput output;
  output.isStalled = false;
  system->deliverInto(output);
  manager = system->makeCentralManager(recorder);
  ASSERT_TRUE(waitFor(What::state));
  manager->scanForPeripherals();
  output.isStalled = true;
  settle();
  manager->scanForPeripherals();
  settle();
  EXPECT_EQ(recorder.count(What::discover), 0U);
  output.isStalled = false;
  settle();
  EXPECT_EQ(recorder.count(What::discover), 1U);
}

TEST_F(Layer, ReportsNothingOfAScanThatHasEndedWhileTheReportWaited) {
  StalledOutput output;
  output.isStalled = false;
  system->deliverInto(output);
  manager = system->makeCentralManager(recorder);
  ASSERT_TRUE(waitFor(What::state));
  manager->scanForPeripherals();
  output.isStalled = true;
  settle();
  manager->stopScan();
  output.isStalled = false;
  settle();
  EXPECT_EQ(recorder.count(What::discover), 0U);
}

TEST_F(Layer, TellsEachStateThatHasWaitedAsItWas) {
  StalledOutput output;
  output.isStalled = false;
  system->deliverInto(output);
  manager = system->makeCentralManager(recorder);
  ASSERT_TRUE(waitFor(What::state));
  recorder.forget();
  output.isStalled = true;
  Air::shared().setState(CBManagerStateResetting);
  settle();
  Air::shared().setState(CBManagerStatePoweredOn);
  settle();
  output.isStalled = false;
  settle();
  ASSERT_EQ(recorder.events().size(), 2U);
  EXPECT_EQ(recorder.events().front().state, platform::CBManagerState::resetting);
  EXPECT_EQ(recorder.events().back().state, platform::CBManagerState::poweredOn);
}

TEST_F(Layer, HoldsBackWhatIsNotDecidedWhileAPersonIsAsked) {
  Air& air = Air::shared();
  air.authorization = CBManagerAuthorizationNotDetermined;
  air.setState(CBManagerStateUnknown);
  manager = system->makeCentralManager(recorder);
  settle();
  air.setState(CBManagerStateUnauthorized);
  settle();
  EXPECT_EQ(recorder.count(What::state), 0U);
  EXPECT_EQ(manager->state(), platform::CBManagerState::unknown);
  air.authorization = CBManagerAuthorizationAllowedAlways;
  settle();
  EXPECT_EQ(recorder.count(What::state), 0U);
  air.setState(CBManagerStatePoweredOn);
  ASSERT_TRUE(waitFor(What::state));
  EXPECT_EQ(recorder.count(What::state), 1U);
  EXPECT_EQ(recorder.last(What::state).state, platform::CBManagerState::poweredOn);
}

TEST_F(Layer, TellsThatAPersonHasRefused) {
  Air& air = Air::shared();
  air.authorization = CBManagerAuthorizationNotDetermined;
  air.setState(CBManagerStateUnauthorized);
  manager = system->makeCentralManager(recorder);
  settle();
  EXPECT_EQ(recorder.count(What::state), 0U);
  air.authorization = CBManagerAuthorizationDenied;  // the state is what it was: nobody is called
  ASSERT_TRUE(waitFor(What::state));
  EXPECT_EQ(recorder.last(What::state).state, platform::CBManagerState::unauthorized);
  settle();
  EXPECT_EQ(recorder.count(What::state), 1U);
}

TEST_F(Layer, TellsAPassingUnknownStateAsNothing) {
  const auto peripheral = discovered();
  Air::shared().setState(CBManagerStateUnknown);
  settle();
  EXPECT_EQ(recorder.count(What::state), 0U);
  Air::shared().setState(CBManagerStatePoweredOn);
  ASSERT_TRUE(waitFor(What::state));
  EXPECT_EQ(recorder.last(What::state).state, platform::CBManagerState::poweredOn);
}

TEST_F(Layer, ForgetsTheRequestsToADeviceThatNobodyHolds) {
  auto peripheral = connected();
  CBCharacteristic& characteristic = battery(*peripheral);
  settle();
  recorder.forget();
  peripheral->readValue(characteristic);
  peripheral.reset();
  settle();
  EXPECT_TRUE(recorder.events().empty());
}

// The framework holds on to its own object while a callback for it is under way.
TEST_F(Layer, HearsNoMoreValuesOfADeviceThatNobodyHolds) {
  model->control("rate 200");
  auto peripheral = connected();
  peripheral->setNotifyValue(true, motion(*peripheral));
  ASSERT_TRUE(waitFor(What::value, 3));
  Air::shared().delayUntil(Air::shared().now() + lab::Microseconds(500'000));
  runFor(0.1);
  recorder.forget();
  peripheral.reset();
  settle();
  EXPECT_EQ(recorder.count(What::value), 0U);
}

// Lets go of the peripheral from within its own callback.
class Quitter final : public platform::CBPeripheralDelegate {
 public:
  std::shared_ptr<CBPeripheral> peripheral;

  void peripheralDidDiscoverServices(CBPeripheral&, const platform::Error*) override {
    peripheral.reset();
  }
  void peripheralDidDiscoverCharacteristicsFor(CBPeripheral&, CBService&,
                                               const platform::Error*) override {}
  void peripheralDidUpdateValueFor(CBPeripheral&, CBCharacteristic&,
                                   const platform::Error*) override {}
};

TEST_F(Layer, LetsAPeripheralGoFromWithinItsCallback) {
  Quitter quitter;
  quitter.peripheral = connected();
  manager->stopScan();
  quitter.peripheral->setDelegate(&quitter);
  quitter.peripheral->discoverServices({&kBatteryService, 1});
  settle();
  EXPECT_EQ(quitter.peripheral, nullptr);
  EXPECT_EQ(Air::shared().objects, 1U);  // the manager
}

}  // namespace
