#include "StackTest.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <fstream>

namespace stack {
namespace {

namespace fs = std::filesystem;
using support::BridgeProcess;
using support::OutputLine;

// Numbered values do not get as far as this one.
constexpr char markerHex[] = "5A5A5A5A5A5A5A5A5A5A5A5A5A5A5A5A5A5A";

std::string testName() {
  const ::testing::TestInfo& test = *::testing::UnitTest::GetInstance()->current_test_info();
  std::string name = std::string(test.test_suite_name()) + "." + test.name();
  std::ranges::replace(name, '/', '.');
  return name;
}

// Where the logs of a failed test are kept.
fs::path keptFolder() {
  return fs::path(std::getenv("VORNIX_SHARE")) / testName();
}

fs::path makeFolder() {
  fs::remove_all(keptFolder());
  fs::path folder = "/run/" + testName();
  fs::create_directories(folder);
  return folder;
}

bool isMotion(const OutputLine& line) {
  return line.kind == vornix_host::LineKind::message && line.text.starts_with("B;");
}

// For a failure message: the first few ranges of positions in sent that told lacks.
std::string missing(const std::vector<std::string>& sent, const std::vector<std::string>& told) {
  std::string runs;
  auto next = told.begin();
  for (std::size_t begin = 0, end = 0; end <= sent.size() && runs.size() < 200; ++end) {
    const bool isTold = end < sent.size() && next != told.end() && *next == sent[end];
    if (!isTold && end < sent.size()) continue;
    if (begin < end) runs += std::to_string(begin) + " to " + std::to_string(end - 1) + ", ";
    begin = end + 1;
    if (isTold) ++next;
  }
  return runs.empty() ? "nothing, but more or in another order" : runs;
}

}  // namespace

StackTest::StackTest() : folder_(makeFolder()), stack_(folder_) {}

StackTest::~StackTest() {
  if (!HasFailure()) return;
  for (std::size_t index = 0; index < bridges_.size(); ++index) {
    std::ofstream(folder_ / ("bridge" + std::to_string(index) + ".log"))
        << bridges_[index]->output() << bridges_[index]->standardError();
  }
  fs::copy(folder_, keptFolder(), fs::copy_options::recursive);
}

BridgeProcess& StackTest::startBridge(const support::ProcessOptions& options,
                                      const std::string& program) {
  return *bridges_.emplace_back(std::make_unique<BridgeProcess>(program, options));
}

bool StackTest::waitForScan(const std::string& adapter) {
  return stack_.bluez().waitUntil(
      [&] { return stack_.bluez().isDiscovering(adapter).value_or(false); });
}

std::unique_ptr<LabDevice> StackTest::startTramsel(const std::vector<std::string>& options) const {
  return std::make_unique<LabDevice>(folder_, "hci1", "tramsel", options);
}

std::string motionFields(const std::string& hex) {
  const auto byteAt = [&hex](std::size_t index) {
    unsigned value = 0;
    std::from_chars(&hex[2 * index], &hex[2 * index] + 2, value, 16);
    return value;
  };
  std::string fields;
  for (std::size_t index = 0; index < 18 && hex.size() >= 36; index += 2) {
    const unsigned raw = byteAt(index) | byteAt(index + 1) << 8U;
    fields += std::to_string(static_cast<std::int16_t>(raw)) + ";";
  }
  return fields;
}

Motions motionsOf(const BridgeProcess& bridge) {
  Motions motions;
  for (const OutputLine& line : bridge.lines()) {
    if (!isMotion(line)) continue;
    const std::size_t end = line.text.find(';', 2);
    motions.batteries.push_back(line.text.substr(2, end - 2));
    motions.fields.push_back(line.text.substr(end + 1));
  }
  return motions;
}

bool waitForMotions(BridgeProcess& bridge, std::size_t count, Limit limit) {
  std::size_t seen = 0;
  return bridge
      .waitFor([&](const OutputLine& line) { return isMotion(line) && ++seen == count; }, limit)
      .has_value();
}

bool waitForMarker(BridgeProcess& bridge, const LabDevice& tramsel, Limit limit) {
  tramsel.control(std::string("send ") + motionUuid + " " + markerHex);
  const std::string fields = motionFields(markerHex);
  const auto isMarker = [&](const OutputLine& line) {
    return isMotion(line) && line.text.ends_with(";" + fields);
  };
  return bridge.waitFor(isMarker, limit).has_value();
}

void expectAllMotions(const BridgeProcess& bridge, LabDevice& tramsel) {
  const std::vector<std::string> told = motionsOf(bridge).fields;
  std::vector<std::string> sent = tramsel.sent(motionUuid);
  std::ranges::transform(sent, sent.begin(), motionFields);
  if (told == sent) return;
  ADD_FAILURE() << sent.size() << " values sent, " << told.size()
                << " reported by the bridge; missing: " << missing(sent, told);
}

std::string stateLine(const std::string& state) {
  return "manager state update : " + state;
}

void expectUnusable(BridgeProcess& bridge, const std::string& state, const std::string& message) {
  EXPECT_TRUE(bridge.waitForLog(stateLine(state)));
  expectLastWords(bridge, message);
}

void expectLastWords(BridgeProcess& bridge, const std::string& message) {
  const auto last = bridge.next();
  EXPECT_TRUE(last && last->isMessage(message)) << (last ? last->bytes : "no line");
  EXPECT_EQ(bridge.waitForEnd(), support::ProcessEnd::status(0));
  EXPECT_FALSE(bridge.next()) << "a line after the last message";
  EXPECT_EQ(bridge.standardError(), "");
}

}  // namespace stack
