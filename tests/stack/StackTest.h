// What every test here has: a stack of its own, a folder for logs, and the bridge's devices.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "BluetoothStack.h"
#include "LabDevice.h"
#include "support/BridgeProcess.h"

namespace stack {

// As the lab's journal and control lines name them.
inline constexpr char motionUuid[] = "EF680408-9B35-4933-9B10-52FFA9740042";
inline constexpr char batteryUuid[] = "2A19";

class StackTest : public ::testing::Test {
 protected:
  StackTest();
  ~StackTest() override;

  // Memory only; what lies in it outlives the machine when the test fails.
  std::filesystem::path folder_;
  BluetoothStack stack_;

  // They live as long as the test.
  support::BridgeProcess& startBridge(const support::ProcessOptions& options = {},
                                      const std::string& program = VORNIX_BRIDGE);

  // A Tramsel on hci1.
  std::unique_ptr<LabDevice> startTramsel(const std::vector<std::string>& options = {}) const;

  bool waitForScan(const std::string& adapter = "hci0");

 private:
  std::vector<std::unique_ptr<support::BridgeProcess>> bridges_;
};

// The text of the nine values, each closed by ";", that stands for a motion value of these bytes.
std::string motionFields(const std::string& hex);

// What the bridge told of a Tramsel so far.
struct Motions {
  std::vector<std::string> batteries;  // of each message, "-1" while unknown
  std::vector<std::string> fields;     // of each message, as motionFields gives them
};
Motions motionsOf(const support::BridgeProcess& bridge);

// Waits for that many motion messages from now on. False when fewer come.
bool waitForMotions(support::BridgeProcess& bridge, std::size_t count,
                    Limit limit = support::patience);

// Sends one value that no stream contains, and takes lines until it has come, so that every value
// before it would have come as well.
bool waitForMarker(support::BridgeProcess& bridge, const LabDevice& tramsel,
                   Limit limit = support::patience);

// The bridge told exactly the values that the device sent, in order.
void expectAllMotions(const support::BridgeProcess& bridge, LabDevice& tramsel);

// The text of the bridge's state line.
std::string stateLine(const std::string& state);

// The bridge tells this message next, and ends with status 0 and an empty standard error.
void expectLastWords(support::BridgeProcess& bridge, const std::string& message);

// The bridge tells this state and this message, and ends with status 0 and an empty standard error.
void expectUnusable(support::BridgeProcess& bridge, const std::string& state,
                    const std::string& message);

}  // namespace stack
