#include "Scenario.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <ostream>
#include <utility>

namespace support {

void PrintTo(const ProcessEnd& end, std::ostream* out) {
  *out << (end.bySignal ? "signal " : "status ") << end.code;
}

}  // namespace support

namespace process_test {
namespace {

using support::OutputLine;
using support::ProcessEnd;
using vornix_host::LineKind;

Words characteristic(std::string_view uuid, const Words& words = {}) {
  return Words{"characteristic=" + std::string(uuid)} + words;
}

Words word(std::string_view name, std::string_view argument) {
  return {std::string(name) + "=" + std::string(argument)};
}

std::string described(const OutputLine& line) {
  switch (line.kind) {
    case LineKind::log:
      return "@" + line.text;
    case LineKind::message:
      return "<" + line.text;
    case LineKind::damaged:
      break;
  }
  return "!" + line.bytes;
}

void expectEnd(support::BridgeProcess& bridge, const ProcessEnd& expected) {
  const auto end = bridge.waitForEnd();
  ASSERT_TRUE(end) << "still running";
  EXPECT_EQ(*end, expected);
  EXPECT_EQ(bridge.standardError(), "");
  for (const OutputLine& line : bridge.lines()) {
    EXPECT_FALSE(line.isDamaged()) << support::printable(line.bytes);
  }
}

}  // namespace

Words operator+(Words first, const Words& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

Words tramsel() {
  return Words{"device=Tramsel-12", "service=180F"} + characteristic(id::battery, {"value=5C"}) +
         Words{"service=EF680400-9B35-4933-9B10-52FFA9740042"} + characteristic(id::motion);
}

Words ilo() {
  return Words{"device=ILO-1234", "service=85538af7-9604-4f46-a933-c9e7a9e05748"} +
         characteristic(id::ilo);
}

Words tenoval() {
  return Words{"device=Tenoval-7", "service=180F"} + characteristic(id::battery, {"value=5A"}) +
         Words{"service=AA40"} + characteristic(id::tenoval);
}

Words corvelta() {
  return Words{"device=Tarvix-3", "service=89e6b9fd-f08f-4b6c-93e6-49a24ba04200"} +
         characteristic(id::corveltaFirmware, {"value=312E322E33"}) +
         characteristic(id::mains, {"value=01"}) +
         characteristic("00428317-9ae7-49d7-adf5-8e295880ace8") +
         Words{"service=a4459812-7361-4607-95e1-e58b2fc953d9"} +
         characteristic(id::calibration, word("echo", id::newCalibration)) +
         characteristic(id::newCalibration) + characteristic(id::calibrationError) +
         Words{"service=d72dcc05-7e84-464d-91a6-b8cc7fe47b2a"} +
         characteristic(id::acquisition, word("echo", id::calibrationError)) +
         characteristic(id::contractions) + Words{"service=180F"} +
         characteristic(id::battery, {"value=64"});
}

Words fenwix() {
  return Words{"device=Nomsuel-9", "service=98AB"} + characteristic(id::rms) +
         characteristic(id::rms2) + characteristic(id::raw) + characteristic(id::raw2) +
         Words{"service=180F"} + characteristic(id::battery, {"value=57"}) +
         characteristic(id::batteryHealth, {"value=01"}) + Words{"service=180A"} +
         characteristic(id::model, {"value=02000000"}) +
         characteristic(id::firmware, {"value=04010000"}) +
         characteristic(id::hardware, {"value=03000000"}) +
         characteristic(id::serial, {"value=E2D40100"}) +
         characteristic(id::systemId, {"value=07000000"}) + Words{"service=98AC"} +
         characteristic(id::command, word("echo", id::raw));
}

Words with(Words device, std::string_view characteristic, const Words& more) {
  const auto isNext = [](const std::string& word) {
    return word.starts_with("characteristic=") || word.starts_with("service=");
  };
  const auto own =
      std::find(device.begin(), device.end(), "characteristic=" + std::string(characteristic));
  EXPECT_NE(own, device.end()) << "no characteristic " << characteristic;
  device.insert(std::find_if(own + 1, device.end(), isNext), more.begin(), more.end());
  return device;
}

Words withOwn(Words device, const Words& more) {
  device.insert(device.begin() + 1, more.begin(), more.end());
  return device;
}

Bridge::Bridge(const Words& air, support::ProcessOptions options)
    : BridgeProcess(VORNIX_SCRIPTED, (options.arguments = air, std::move(options))) {}

std::vector<std::string> transcript(const support::BridgeProcess& bridge) {
  std::vector<std::string> lines;
  for (const OutputLine& line : bridge.lines()) lines.push_back(described(line));
  return lines;
}

void expectLine(support::BridgeProcess& bridge, const std::string& line) {
  const auto found = bridge.waitFor([&](const OutputLine& one) { return described(one) == line; });
  if (found) return;
  ADD_FAILURE() << "no line " << line << " but:\n"
                << testing::PrintToString(transcript(bridge)) << bridge.standardError();
}

void expectQuietEnd(support::BridgeProcess& bridge) {
  expectEnd(bridge, ProcessEnd::status(0));
}

void expectHardStop(support::BridgeProcess& bridge) {
  expectEnd(bridge, ProcessEnd::signal(SIGABRT));
}

}  // namespace process_test
