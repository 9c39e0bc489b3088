// A session with a Tramsel from the banner to "kill".
#include <algorithm>
#include <csignal>
#include <fstream>
#include <functional>
#include <iostream>
#include <memory>

#include "BusMonitor.h"
#include "StackTest.h"
#include "support/Sanitizer.h"

namespace stack {
namespace {

using namespace std::chrono_literals;

using SessionTest = StackTest;

// The battery levels in the messages, each run of equal ones once.
std::vector<std::string> batteryHistory(const support::BridgeProcess& bridge) {
  std::vector<std::string> levels = motionsOf(bridge).batteries;
  levels.erase(std::unique(levels.begin(), levels.end()), levels.end());
  return levels;
}

bool waitForBattery(support::BridgeProcess& bridge, const std::string& level) {
  return bridge
      .waitFor([&](const support::OutputLine& line) {
        return line.text.starts_with("B;" + level + ";");
      })
      .has_value();
}

TEST_F(SessionTest, LinesFromBannerToKill) {
  stack_.start(2);
  const auto tramsel = startTramsel({"--name", "Tramsel-12", "--rate", "10"});
  auto& bridge = startBridge();
  EXPECT_TRUE(waitForMotions(bridge, 5));
  EXPECT_TRUE(bridge.writeLine("kill"));
  EXPECT_EQ(bridge.waitForEnd(), support::ProcessEnd::status(0));

  const auto& lines = bridge.lines();
  ASSERT_GE(lines.size(), 11U);
  EXPECT_TRUE(lines[0].isLog("Demarrage de Vornix 1.04"));
  EXPECT_TRUE(lines[1].isLog(stateLine("poweredOn")));
  EXPECT_TRUE(lines[2].isLog("Device trouve : tramsel-12"));
  EXPECT_TRUE(lines[3].isMessage("C;3;0;"));
  EXPECT_TRUE(lines[4].isLog("Connexion a Tramsel-12"));
  for (auto line = lines.begin() + 5; line != lines.end() - 1; ++line) {
    EXPECT_TRUE(line->text.starts_with("B;")) << line->bytes;
    EXPECT_FALSE(line->isDamaged()) << line->bytes;
  }
  EXPECT_TRUE(lines.back().isLog("cde : kill"));
  EXPECT_EQ(bridge.standardError(), "");
}

TEST_F(SessionTest, TenThousandValuesAtAThousandPerSecond) {
  stack_.start(2);
  const auto tramsel = startTramsel({"--rate", "1000", "--count", "10000"});
  auto& bridge = startBridge();
  EXPECT_TRUE(waitForMotions(bridge, 10000, 120s));
  EXPECT_TRUE(waitForMarker(bridge, *tramsel));
  expectAllMotions(bridge, *tramsel);
}

TEST_F(SessionTest, BatteryIsUnknownThenReadThenFollowed) {
  stack_.start(2);
  const auto tramsel = startTramsel({"--rate", "500", "--control", "battery 92"});
  BusMonitor monitor({"type='signal',sender='org.bluez',member='PropertiesChanged'"});
  auto& bridge = startBridge();
  EXPECT_TRUE(waitForBattery(bridge, "92"));
  EXPECT_TRUE(monitor.waitForSocket(stack_.bluez().pathOfCharacteristic(batteryUuid)));
  tramsel->control("battery 41");
  EXPECT_TRUE(waitForBattery(bridge, "41"));
  tramsel->control("battery 0");
  EXPECT_TRUE(waitForBattery(bridge, "0"));
  EXPECT_EQ(batteryHistory(bridge), (std::vector<std::string>{"-1", "92", "41", "0"}));
}

TEST_F(SessionTest, EachLineIsOneWrite) {
  stack_.start(2);
  const auto tramsel = startTramsel({"--rate", "200"});
  auto& bridge = startBridge({.output = support::ProcessOptions::Output::packets});
  EXPECT_TRUE(waitForMotions(bridge, 100));
  EXPECT_TRUE(bridge.writeLine("nothing that it knows"));
  EXPECT_TRUE(bridge.waitForLog("commande recue non traitee : nothing that it knows"));
  for (const std::string& write : bridge.writes()) {
    EXPECT_TRUE(write.ends_with(">\n")) << support::printable(write);
    EXPECT_EQ(std::ranges::count(write, '\n'), 1) << support::printable(write);
  }
}

TEST_F(SessionTest, TwoThreadsWhileStreaming) {
  constexpr auto threads = 2U + support::threadsOfSanitizer;
  stack_.start(2);
  const auto tramsel = startTramsel({"--rate", "200"});
  auto& bridge = startBridge();
  EXPECT_TRUE(bridge.waitForLog(stateLine("poweredOn")));
  EXPECT_EQ(bridge.threadCount(), threads);
  for (int turn = 0; turn < 10; ++turn) {
    EXPECT_TRUE(waitForMotions(bridge, 20));
    EXPECT_EQ(bridge.threadCount(), threads);
  }
}

TEST_F(SessionTest, KillEndsItInTheMiddleOfAStream) {
  stack_.start(2);
  const auto tramsel = startTramsel({"--rate", "1000"});
  for (int run = 0; run < 10; ++run) {
    auto& bridge = startBridge();
    EXPECT_TRUE(waitForMotions(bridge, 50));
    EXPECT_TRUE(bridge.writeLine("kill"));
    EXPECT_EQ(bridge.waitForEnd(), support::ProcessEnd::status(0));
    EXPECT_TRUE(std::ranges::none_of(bridge.lines(), &support::OutputLine::isDamaged));
    EXPECT_EQ(bridge.standardError(), "");
  }
}

// A device without the battery service whose level BlueZ has from elsewhere.
TEST_F(SessionTest, BatteryThatOnlyBlueZKnows) {
  stack_.start(2, {"--experimental"});
  if (!stack_.bluez().takesBatteries()) {
    GTEST_SKIP() << "this bluetoothd takes no battery levels from other programs";
  }
  const auto tramsel = startTramsel({"--rate", "200", "--fault", "hide=180F"});
  BlueZ& bluez = stack_.bluez();
  const std::string device = bluez.connectDevice();
  bluez.provideBattery(device, 77);
  ASSERT_TRUE(bluez.waitUntil([&] { return bluez.batteryOf(device) == 77; }));
  auto& bridge = startBridge();
  EXPECT_TRUE(waitForBattery(bridge, "77"));
  bluez.provideBattery(device, 12);
  EXPECT_TRUE(bluez.waitUntil([&] { return bluez.batteryOf(device) == 12; }));
  EXPECT_TRUE(waitForBattery(bridge, "12"));
  // The level may be known before the first motion value.
  std::vector<std::string> history = batteryHistory(bridge);
  if (!history.empty() && history.front() == "-1") history.erase(history.begin());
  EXPECT_EQ(history, (std::vector<std::string>{"77", "12"}));
}

// The host reads nothing while ten seconds of values come.
TEST_F(SessionTest, StalledHostLosesNothing) {
  stack_.start(2);
  const auto tramsel = startTramsel({"--rate", "1000"});
  auto& bridge = startBridge();
  EXPECT_TRUE(waitForMotions(bridge, 100));
  const std::string sent = std::string("sent ") + motionUuid;
  bridge.stall();
  EXPECT_TRUE(tramsel->waitFor(sent, tramsel->count(sent) + 10000, 120s));
  bridge.resume();
  EXPECT_TRUE(waitForMotions(bridge, 1000));
  tramsel->control("stream off");
  EXPECT_TRUE(waitForMarker(bridge, *tramsel, 120s));
  expectAllMotions(bridge, *tramsel);
}

// The size of sockets that are made from now on, unless a program sets its own: "wmem" is for what
// is sent, "rmem" for what is received.
class DefaultSize {
 public:
  explicit DefaultSize(const std::string& kind)
      : setting_("/proc/sys/net/core/" + kind + "_default") {
    std::ifstream(setting_) >> usual_;
    std::ofstream(setting_) << 8388608;
  }
  DefaultSize(const DefaultSize&) = delete;
  DefaultSize& operator=(const DefaultSize&) = delete;
  ~DefaultSize() { std::ofstream(setting_) << usual_; }

 private:
  const std::string setting_;
  std::string usual_;
};

// The bridge, or bluetoothd, gets no processor time while a second of values comes. Any client
// would lose the values that a socket cannot hold meanwhile: the bridge's, which bluetoothd writes
// to, or bluetoothd's, which the kernel writes to.
class StoppedSessionTest : public StackTest {
 protected:
  static constexpr std::size_t kValues = 1000;
  using SendSignal = std::function<void(int)>;

  StoppedSessionTest() { stack_.start(2); }

  void start() {
    tramsel_ = startTramsel({"--rate", "1000"});
    bridge_ = &startBridge();
    EXPECT_TRUE(waitForMotions(*bridge_, 100));
  }
  SendSignal toBridge() {
    return [this](int number) { bridge_->sendSignal(number); };
  }
  SendSignal toBluetoothd() {
    return [this](int number) { stack_.signalBluetoothd(number); };
  }

  // The number of values that were lost; expects messages for all others, in order.
  std::size_t lostWhileStopped(const SendSignal& sendSignal) {
    const std::string sent = std::string("sent ") + motionUuid;
    sendSignal(SIGSTOP);
    EXPECT_TRUE(tramsel_->waitFor(sent, tramsel_->count(sent) + kValues, 120s));
    sendSignal(SIGCONT);
    EXPECT_TRUE(waitForMotions(*bridge_, 100));
    tramsel_->control("stream off");
    EXPECT_TRUE(waitForMarker(*bridge_, *tramsel_));

    std::vector<std::string> values = tramsel_->sent(motionUuid);
    std::ranges::transform(values, values.begin(), motionFields);
    const std::vector<std::string> told = motionsOf(*bridge_).fields;
    auto next = told.begin();
    for (const std::string& value : values) {
      if (next != told.end() && *next == value) ++next;
    }
    EXPECT_TRUE(next == told.end()) << "twice, or in another order";
    std::cout << "lost: " << values.size() - told.size() << '\n';
    return values.size() - told.size();
  }

 private:
  std::unique_ptr<LabDevice> tramsel_;
  support::BridgeProcess* bridge_ = nullptr;
};

TEST_F(StoppedSessionTest, LosesWhatTheUsualSocketCannotHold) {
  start();
  const std::size_t lost = lostWhileStopped(toBridge());
  EXPECT_GT(lost, kValues / 2);
  EXPECT_LT(lost, kValues);
}

TEST_F(StoppedSessionTest, LosesNothingWhereTheSocketHoldsMore) {
  const DefaultSize size("wmem");
  start();
  EXPECT_EQ(lostWhileStopped(toBridge()), 0U);
}

TEST_F(StoppedSessionTest, LosesWhatBluetoothdsUsualSocketCannotHold) {
  start();
  const std::size_t lost = lostWhileStopped(toBluetoothd());
  EXPECT_GT(lost, kValues / 2);
  EXPECT_LT(lost, kValues);
}

TEST_F(StoppedSessionTest, LosesNothingWhereBluetoothdsSocketHoldsMore) {
  const DefaultSize size("rmem");
  start();
  EXPECT_EQ(lostWhileStopped(toBluetoothd()), 0U);
}

// The link outlives a bridge that is killed, and a connected device does not advertise.
TEST_F(SessionTest, KilledBridgeFindsTheConnectedDeviceAgain) {
  stack_.start(2);
  const auto tramsel = startTramsel({"--rate", "200"});
  auto& killed = startBridge();
  EXPECT_TRUE(waitForMotions(killed, 20));
  killed.sendSignal(SIGKILL);
  EXPECT_EQ(killed.waitForEnd(), support::ProcessEnd::signal(SIGKILL));
  EXPECT_TRUE(tramsel->waitFor(std::string("unsubscribed ") + motionUuid));

  auto& bridge = startBridge();
  EXPECT_TRUE(bridge.waitForMessage("C;3;0;"));
  EXPECT_TRUE(waitForMotions(bridge, 20));
  EXPECT_EQ(tramsel->count("connected"), 1U);
}

}  // namespace
}  // namespace stack
