// The fixture of the tests of the whole core: a ComBLE on a recording platform, and an empty
// journal.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

#include "ComBLE.h"
#include "tests/unit/core/support/Endings.h"
#include "tests/unit/core/support/RecordingPlatform.h"

namespace unit {

class BridgeTest : public testing::Test {
 protected:
  BridgeTest() { journal.clear(); }

  using Device = std::shared_ptr<RecordingPeripheral>;

  Device deviceNamed(std::optional<std::string> name, std::string label = "device") {
    return std::make_shared<RecordingPeripheral>(journal, std::move(name), std::move(label));
  }

  RecordingCentral& central() { return dynamic_cast<RecordingCentral&>(*comBLE.manager); }

  void discover(const Device& device) { comBLE.centralManagerDidDiscover(central(), device); }

  void connect(const Device& device) { comBLE.centralManagerDidConnect(central(), device); }

  // Lets a device with this name, and the same label, be discovered.
  Device found(const std::string& name) {
    Device device = deviceNamed(name, name);
    discover(device);
    return device;
  }

  // Runs act and returns the journal's entries of it.
  Entries of(const std::function<void()>& act) {
    journal.clear();
    act();
    return journal.take();
  }

  Journal journal;
  RecordingPlatform platform{journal};
  ComBLE comBLE{platform};
};

}  // namespace unit
