// The fixture of all tests here: a stack of its own, a folder for logs, bridges and devices.
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

// Identifiers in the form of the lab's journals and control lines.
inline constexpr char motionUuid[] = "EF680408-9B35-4933-9B10-52FFA9740042";
inline constexpr char batteryUuid[] = "2A19";

class StackTest : public ::testing::Test {
 protected:
  StackTest();
  ~StackTest() override;

  // In memory; when the test fails, it is copied to the host.
  std::filesystem::path folder_;
  BluetoothStack stack_;

  // The bridge lives until the end of the test.
  support::BridgeProcess& startBridge(const support::ProcessOptions& options = {},
                                      const std::string& program = VORNIX_BRIDGE);

  // A Tramsel on hci1.
  std::unique_ptr<LabDevice> startTramsel(const std::vector<std::string>& options = {}) const;

  bool waitForScan(const std::string& adapter = "hci0");

 private:
  std::vector<std::unique_ptr<support::BridgeProcess>> bridges_;
};

// The nine fields, each closed by ";", of the message for a motion value of these bytes.
std::string motionFields(const std::string& hex);

// The messages of a Tramsel's motion so far.
struct Motions {
  std::vector<std::string> batteries;  // of each message, "-1" while unknown
  std::vector<std::string> fields;     // of each message, as motionFields gives them
};
Motions motionsOf(const support::BridgeProcess& bridge);

// Waits for this many more motion messages. False when fewer come.
bool waitForMotions(support::BridgeProcess& bridge, std::size_t count,
                    Limit limit = support::patience);

// Lets the device send a value that no stream contains, and reads lines until its message has come;
// those of all earlier values have come by then.
bool waitForMarker(support::BridgeProcess& bridge, const LabDevice& tramsel,
                   Limit limit = support::patience);

// Expects messages for exactly the values that the device sent, in order.
void expectAllMotions(const support::BridgeProcess& bridge, LabDevice& tramsel);

// The text of the bridge's state line.
std::string stateLine(const std::string& state);

// Expects this message next, then an end with status 0 and nothing on standard error.
void expectLastWords(support::BridgeProcess& bridge, const std::string& message);

// Expects this state's log line, and then as expectLastWords.
void expectUnusable(support::BridgeProcess& bridge, const std::string& state,
                    const std::string& message);

}  // namespace stack
