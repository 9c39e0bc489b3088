// The messages that the bridge has to send for the values of the lab's devices, worked out from the
// values' bytes in the journals.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "LabDevice.h"
#include "support/BridgeProcess.h"

namespace stack {

inline constexpr char iloUuid[] = "23BCDD50-00AC-446D-92B9-07AB6E436AD8";
inline constexpr char contractionUuid[] = "5D63AFC1-16D0-4C47-BDB8-39DE23DAF30A";
inline constexpr char rmsUuid[] = "3A89";
inline constexpr char rms2Uuid[] = "3A90";
inline constexpr char rawUuid[] = "3A87";
inline constexpr char raw2Uuid[] = "3A88";
inline constexpr char commandUuid[] = "3A93";

// The payload for a value (for a motion value: without the battery level).
std::string payloadOf(std::string_view uuid, const std::string& hex);

// The payloads of this kind of value that the bridge has sent so far, in order.
std::vector<std::string> told(const support::BridgeProcess& bridge, std::string_view uuid);

// Lets the device send a value that no stream contains, and reads lines until its message has come.
bool waitForLast(support::BridgeProcess& bridge, const LabDevice& device, std::string_view uuid,
                 Limit limit = support::patience);

// Expects that the bridge has sent messages for exactly the values that the device sent, in order.
void expectAllTold(const support::BridgeProcess& bridge, LabDevice& device, std::string_view uuid);

}  // namespace stack
