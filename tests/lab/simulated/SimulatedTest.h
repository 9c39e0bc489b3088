// A fixture: one simulated device with one service and two characteristics, in driven time.
#pragma once

#include <gtest/gtest.h>

#include "tests/lab/simulated/Bridge.h"

namespace simulated_test {

using namespace std::chrono_literals;
using platform::simulated::attError;

class SimulatedTest : public testing::Test {
 protected:
  SimulatedTest() {
    bridge.services = {kService};
    bridge.characteristics = {kFirst, kSecond};
    device.appear();
  }

  // Starts the bridge and lets everything happen, up to the answers to onFound's requests.
  void run(std::chrono::milliseconds time = 1ms) {
    if (!bridge.manager) bridge.start();
    bridge.run(time);
  }

  void readBoth() {
    bridge.onFound = [](CBPeripheral& peripheral, CBCharacteristic& characteristic) {
      peripheral.readValue(characteristic);
    };
  }
  void subscribeFirst() {
    bridge.onFound = [](CBPeripheral& peripheral, CBCharacteristic& characteristic) {
      if (characteristic.UUID() == kFirst) peripheral.setNotifyValue(true, characteristic);
    };
  }

  // The callbacks since the characteristics were discovered.
  Words answers() const {
    for (auto word = bridge.words.rbegin(); word != bridge.words.rend(); ++word) {
      if (word->starts_with("characteristics")) return {word.base(), bridge.words.end()};
    }
    return {};
  }

  platform::simulated::Platform air{TimeMode::driven};
  Device& device = air.addDevice("Probe");
  DeviceService& service = device.addService(kService);
  DeviceCharacteristic& first = service.addCharacteristic(kFirst);
  DeviceCharacteristic& second = service.addCharacteristic(kSecond);
  Bridge bridge{air};
};

}  // namespace simulated_test
