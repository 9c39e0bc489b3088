#include "Families.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstdint>

#include "StackTest.h"

namespace stack {
namespace {

// A kind of value: the beginning of its message, and a value that the lab's streams do not have.
struct Kind {
  std::string_view uuid;
  std::string_view start;
  std::string_view marker;
};

constexpr Kind kKinds[] = {
    {motionUuid, "B;", "5A5A5A5A5A5A5A5A5A5A5A5A5A5A5A5A5A5A"},
    {iloUuid, "S;", "FEFEFEFEFEFEFEFEFEFEFEFEFE"},
    {contractionUuid, "K;MC;", "FEFEFEFEFEFE"},
    {rmsUuid, "P1;", "000020C1"},
    {rms2Uuid, "P2;", "000020C1"},
    {rawUuid, "PR1;", "FE"},
    {raw2Uuid, "PR2;", "FE"},
};

const Kind& kindOf(std::string_view uuid) {
  return *std::ranges::find(kKinds, uuid, &Kind::uuid);
}

unsigned byteAt(const std::string& hex, std::size_t index) {
  unsigned value = 0;
  if (2 * index + 2 <= hex.size()) {
    std::from_chars(&hex[2 * index], &hex[2 * index] + 2, value, 16);
  }
  return value;
}

std::string fields(std::initializer_list<unsigned> values) {
  std::string text;
  for (const unsigned value : values) text += std::to_string(value) + ";";
  return text;
}

std::string rmsFields(const std::string& hex) {
  const std::uint32_t bits =
      byteAt(hex, 0) | byteAt(hex, 1) << 8U | byteAt(hex, 2) << 16U | byteAt(hex, 3) << 24U;
  const float scaled = std::bit_cast<float>(bits) * 1e7F;
  return std::to_string(static_cast<long long>(scaled)) + ";";
}

// The message without the battery level, which depends on when that has come.
std::string withoutBattery(const std::string& payload) {
  return "B;" + payload.substr(payload.find(';', 2) + 1);
}

}  // namespace

std::string payloadOf(std::string_view uuid, const std::string& hex) {
  const auto word = [&hex](std::size_t low) {
    return byteAt(hex, low) | byteAt(hex, low + 1) << 8U;
  };
  const std::string start(kindOf(uuid).start);
  if (uuid == motionUuid) return start + motionFields(hex);
  if (uuid == iloUuid) return start + fields({byteAt(hex, 12), word(2), 0});
  if (uuid == contractionUuid) {
    return start + fields({word(3), byteAt(hex, 5), word(0) | byteAt(hex, 2) << 16U});
  }
  if (uuid == rmsUuid || uuid == rms2Uuid) return start + rmsFields(hex);
  return start + hex + ";";
}

std::vector<std::string> told(const support::BridgeProcess& bridge, std::string_view uuid) {
  std::vector<std::string> payloads;
  for (const support::OutputLine& line : bridge.lines()) {
    if (line.kind != vornix_host::LineKind::message) continue;
    if (!line.text.starts_with(kindOf(uuid).start)) continue;
    payloads.push_back(uuid == motionUuid ? withoutBattery(line.text) : line.text);
  }
  return payloads;
}

bool waitForLast(support::BridgeProcess& bridge, const LabDevice& device, std::string_view uuid,
                 Limit limit) {
  const std::string marker(kindOf(uuid).marker);
  device.control("send " + std::string(uuid) + " " + marker);
  const std::string payload = payloadOf(uuid, marker);
  const auto isLast = [&](const support::OutputLine& line) {
    if (!line.text.starts_with(kindOf(uuid).start)) return false;
    return (uuid == motionUuid ? withoutBattery(line.text) : line.text) == payload;
  };
  // It may have come while the last value of another device was waited for.
  return std::ranges::any_of(bridge.lines(), isLast) || bridge.waitFor(isLast, limit).has_value();
}

void expectAllTold(const support::BridgeProcess& bridge, LabDevice& device, std::string_view uuid) {
  std::vector<std::string> sent = device.sent(uuid);
  std::ranges::transform(sent, sent.begin(),
                         [uuid](const std::string& hex) { return payloadOf(uuid, hex); });
  const std::vector<std::string> lines = told(bridge, uuid);
  const auto differing = std::ranges::mismatch(sent, lines);
  EXPECT_EQ(sent.size(), lines.size()) << uuid;
  EXPECT_TRUE(differing.in1 == sent.end() && differing.in2 == lines.end())
      << uuid << ": differs from value " << differing.in1 - sent.begin();
}

}  // namespace stack
