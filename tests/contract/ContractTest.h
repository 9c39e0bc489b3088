// The fixture of all contract tests: a bench, one device on its air, and the steps that lead to
// what a test is about. A step that does not succeed within its bound fails the test.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <set>
#include <string>
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

  // Turns the run loop until the condition holds; false when it does not within a minute.
  bool waitUntil(const std::function<bool()>& condition);
  bool waitFor(What what, std::size_t times = 1);
  // Turns it for a while, in which what must not happen would.
  void settle();
  void runFor(double seconds);

  // The way to a device, step by step; each one includes those before it where they are missing.
  void start();     // the manager, its state known
  void discover();  // scans until the device was reported
  void connect();   // also stops the scan
  void find();      // services and characteristics
  void dropLink();  // the device does, and it has been noticed there
  void waitForLinkDown();
  void restart();  // the bridge goes and another one comes

  // After find().
  CBCharacteristic& at(lab::CharacteristicIndex characteristic);
  void subscribe(lab::CharacteristicIndex characteristic);

  // What the device saw, and orders to it.
  std::vector<Done> done();
  bool waitUntilDone(const Done& expected);
  void order(const std::function<void(ContractDevice&)>& action);

  std::set<const CBPeripheral*> discovered(const std::string& name) const;
  std::size_t timesDiscovered(const std::string& name) const;

  platform::Platform& platform() { return bench->platform(); }

  ContractDevice device{kName};
  ContractDevice otherDevice{"Contract-2"};
  std::unique_ptr<Bench> bench = makeBench();
  Recorder recorder;
  std::unique_ptr<platform::CBCentralManager> manager;
  std::shared_ptr<CBPeripheral> peripheral;
};

CBUUID uuid(const std::string& text);
std::vector<CBUUID> serviceIdentifiers();
std::vector<CBUUID> characteristicIdentifiers();

// Success when they are equal; tells the first difference, and not thousands of values, otherwise.
testing::AssertionResult areEqual(const std::vector<Bytes>& values,
                                  const std::vector<Bytes>& expected);

// Different values, each with its number in it.
std::vector<Bytes> numberedValues(std::size_t count);

}  // namespace contract
