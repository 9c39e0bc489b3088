// The fixture of all contract tests: a bench, one device, and the steps that lead up to what a test
// is about. A step that does not succeed within a minute fails the test.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "contract/Bench.h"
#include "contract/Recorder.h"

namespace contract {

using What = Recorder::What;
using Act = ContractDevice::Act;
using Done = ContractDevice::Done;
using platform::CBCharacteristic;
using platform::CBManagerState;
using platform::CBPeripheral;
using platform::CBService;
using platform::CBUUID;

class ContractTest : public testing::Test {
 protected:
  static constexpr char kName[] = "Contract-1";

  explicit ContractTest(std::unique_ptr<Bench> made = makeBench()) : bench(std::move(made)) {}

  // Turns the run loop until the condition holds; false when it does not within a minute.
  bool waitUntil(const std::function<bool()>& condition);
  bool waitFor(What what, std::size_t times = 1);
  // Turns the run loop for the bench's settlingTime().
  void settle();
  void runFor(double seconds);

  // The steps to a device; each one makes those before it where they are missing.
  void start();     // makes the manager and waits for its state
  void discover();  // scans until the device is reported
  void connect();   // also stops the scan
  void find();      // discovers services and characteristics
  void dropLink();  // the device ends the link
  void waitForLinkDown();
  void restart();  // see Bench::restartPlatform

  // After find().
  CBCharacteristic& at(lab::CharacteristicIndex characteristic);
  void subscribe(lab::CharacteristicIndex characteristic);

  // What the central did to the device; order() makes the device act.
  std::vector<Done> done();
  bool waitUntilDone(const Done& expected);
  void order(const std::function<void(ContractDevice&)>& action);

  std::set<const CBPeripheral*> discovered(const std::string& name) const;
  std::size_t timesDiscovered(const std::string& name) const;

  platform::Platform& platform() { return bench->platform(); }

  ContractDevice device{kName};
  ContractDevice otherDevice{"Contract-2"};
  std::unique_ptr<Bench> bench;
  Recorder recorder;
  std::unique_ptr<platform::CBCentralManager> manager;
  std::shared_ptr<CBPeripheral> peripheral;
};

CBUUID uuid(const std::string& text);
std::vector<CBUUID> serviceIdentifiers();
std::vector<CBUUID> characteristicIdentifiers();

// Like EXPECT_EQ, but prints only the first difference instead of thousands of values.
testing::AssertionResult areEqual(const std::vector<Bytes>& values,
                                  const std::vector<Bytes>& expected);

// Values that contain their numbers, so that all differ.
std::vector<Bytes> numberedValues(std::size_t count);

}  // namespace contract
