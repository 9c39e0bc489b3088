// The whole bridge over the CoreBluetooth layer, as its host has it.
#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/BridgeProcess.h"
#include "support/Sanitizer.h"

namespace {

using support::BridgeProcess;
using support::OutputLine;
using Words = std::vector<std::string>;

class Session : public BridgeProcess {
 public:
  explicit Session(const Words& words) : BridgeProcess(CB_SESSION, options(words)) {}

  void expectLog(std::string_view text) {
    EXPECT_TRUE(waitForLog(text)) << text << " has not come; " << standardError();
  }
  void expectMessage(std::string_view payload) {
    EXPECT_TRUE(waitForMessage(payload)) << payload << " has not come; " << standardError();
  }
  void expectMessageOf(std::string_view kind) {
    const auto isIt = [kind](const OutputLine& line) {
      return line.kind == vornix_host::LineKind::message && line.text.starts_with(kind);
    };
    EXPECT_TRUE(waitFor(isIt)) << kind << " has not come; " << standardError();
  }

  // Those so far.
  Words messagesOf(std::string_view kind) const {
    Words found;
    for (const OutputLine& line : lines()) {
      if (line.kind == vornix_host::LineKind::message && line.text.starts_with(kind)) {
        found.push_back(line.text);
      }
    }
    return found;
  }

  void expectQuietEnd() {
    const auto end = waitForEnd();
    ASSERT_TRUE(end) << "still running";
    EXPECT_TRUE(*end == support::ProcessEnd::status(0));
    EXPECT_EQ(standardError(), "");
    for (const OutputLine& line : lines()) {
      EXPECT_FALSE(line.isDamaged()) << support::printable(line.bytes);
    }
  }

 private:
  static support::ProcessOptions options(const Words& words) {
    support::ProcessOptions made;
    made.arguments = words;
    made.outputRoom = 4096;
    return made;
  }
};

// The nine numbers of a Tramsel's motion; the model counts the values in the first two.
std::string motion(std::uint32_t sequence) {
  std::string text;
  const auto field = [&text](std::uint32_t word) {
    text += std::to_string(static_cast<std::int16_t>(word)) + ";";
  };
  field(sequence);
  field(sequence >> 16);
  for (std::uint32_t axis = 2; axis < 9; ++axis) field(sequence * (axis * 2003) + axis * 4099);
  return text;
}

Words motions(std::size_t count) {
  Words all;
  for (std::uint32_t i = 0; i < count; ++i) all.push_back(motion(i));
  return all;
}

// Those of the messages, which have the battery's level, not yet known in the first ones, before
// them.
Words motionsOf(const Words& messages) {
  Words all;
  for (const std::string& message : messages) {
    all.push_back(message.substr(message.find(';', std::string_view("B;").size()) + 1));
  }
  return all;
}

TEST(CoreBluetoothSession, ServesAllDevicesAndObeysTheHost) {
  Session bridge({"tramsel", "ilo", "corvelta", "fenwix", "json 60"});
  bridge.expectLog("manager state update : poweredOn");
  bridge.expectLog("Stop Scan");
  bridge.expectMessageOf("S;");
  bridge.expectMessageOf("P1;");
  EXPECT_EQ(bridge.threadCount(), 2 + support::threadsOfSanitizer);

  for (const char* command : {"FX_startRaw", "FX_startRaw2"}) bridge.writeLine(command);
  bridge.expectMessageOf("PR1;");
  bridge.expectMessageOf("PR2;");
  bridge.writeLine("FX_getJson");
  bridge.expectMessageOf("PJSON;{\"device\":\"Nomsuel\"");
  bridge.writeLine("CV_debutCalib");
  bridge.writeLine("CV_finCalib");
  bridge.expectMessage("K;NC;1;");
  bridge.writeLine("CV_debutAcquisition");
  bridge.expectMessage("K;MC;1284;6;0;");
  bridge.writeLine("kill");
  bridge.expectLog("cde : kill");
  bridge.expectQuietEnd();

  for (const char* once :
       {"C;1;", "C;3;0;", "C;4;0;87;0;", "C;5;0;120034;2;260;3;7;", "P0;87;1;"}) {
    EXPECT_EQ(bridge.messagesOf(once).size(), 1U) << once;
  }
  const Words received = motionsOf(bridge.messagesOf("B;"));
  ASSERT_FALSE(received.empty());
  EXPECT_EQ(received, motions(received.size()));
}

TEST(CoreBluetoothSession, ServesATenoval) {
  Session bridge({"tenoval"});
  bridge.expectMessage("C;2;");
  bridge.expectMessageOf("S;90;");
  bridge.closeInput();
  bridge.expectQuietEnd();
}

TEST(CoreBluetoothSession, LosesNothingOfAFastStream) {
  Session bridge({"tramsel", "rate 1000", "count 3000"});
  bridge.expectMessage("B;92;" + motion(2999));
  bridge.closeInput();
  bridge.expectQuietEnd();
  EXPECT_EQ(motionsOf(bridge.messagesOf("B;")), motions(3000));
}

TEST(CoreBluetoothSession, LosesNothingWhenTheHostStalls) {
  Session bridge({"tramsel", "rate 1000", "count 3000"});
  bridge.expectMessage("B;92;" + motion(100));
  bridge.stall();
  bridge.waitForEnd(std::chrono::milliseconds(1500));
  bridge.resume();
  bridge.expectMessage("B;92;" + motion(2999));
  bridge.closeInput();
  bridge.expectQuietEnd();
  EXPECT_EQ(motionsOf(bridge.messagesOf("B;")), motions(3000));
}

TEST(CoreBluetoothSession, TellsAFailedServiceDiscoveryAsTheFrameworkPrintsIt) {
  Session bridge({"tramsel", "name Tramsel-12", "refuse-services=14"});
  // Some versions of the framework print the domain and the number around the description.
  const auto isIt = [](const OutputLine& line) {
    return line.kind == vornix_host::LineKind::log &&
           line.text.find("erreur de lecture des services ") != std::string::npos &&
           line.text.find("The device answered 0x0E.") != std::string::npos &&
           line.text.ends_with(" de Tramsel-12");
  };
  EXPECT_TRUE(bridge.waitFor(isIt));
  bridge.closeInput();
  bridge.expectQuietEnd();
}

TEST(CoreBluetoothSession, EndsWhereTheRadioCannotBeUsed) {
  const std::vector<std::pair<Words, std::string>> states{
      {{"radio=4"}, "Z;2;"}, {{"radio=3", "authorization=2"}, "Z;4;"}, {{"radio=2"}, "Z;3;"}};
  for (const auto& [state, message] : states) {
    Session bridge(state);
    bridge.expectQuietEnd();
    EXPECT_EQ(bridge.messagesOf(""), Words{message});
  }
}

}  // namespace
