// All families at once: a Fenwix, a Tramsel, a Corvelta and a probe, each on a controller of its
// own, and the host's commands to them.
#include <algorithm>
#include <csignal>
#include <cstdlib>

#include "Families.h"
#include "SpareLinks.h"
#include "StackTest.h"

namespace stack {
namespace {

using namespace std::chrono_literals;

class FamiliesTest : public StackTest {
 protected:
  static constexpr char kIdentification[] = "C;5;0;120034;2;260;3;7;";
  static constexpr char kOneLink[] = "the emulator's controllers carry one link at a time";

  std::unique_ptr<LabDevice> device(int controller, const std::string& kind,
                                    const std::vector<std::string>& options = {}) const {
    return std::make_unique<LabDevice>(folder_, "hci" + std::to_string(controller), kind, options);
  }

  // Adds a device on the next controller. It advertises once startAll switches that on.
  std::unique_ptr<LabDevice> add(const std::string& kind, std::vector<std::string> options) {
    const std::size_t earlier = devices_.size();
    options.insert(options.end(), {"--control", "spare-links " + std::to_string(earlier)});
    auto added = device(static_cast<int>(earlier) + 1, kind, options);
    for (std::size_t link = 0; link < earlier; ++link) {
      if (link == spare_.size()) spare_.push_back(std::make_unique<SpareLinks>(5 + link));
      spare_[link]->linkTo(added->address());
    }
    added->control("advertise off");
    devices_.push_back(added.get());
    return added;
  }

  // Starts four devices and the bridge, and waits until all are connected and subscribed to: false
  // if that fails, or if the emulator's controllers cannot have so many links. The devices
  // stream afterwards, unless that is off: with bluetoothd 5.82 on Linux 6.12, a third device was
  // not found within a minute while two sent 300 values a second.
  bool startAll(const std::vector<std::string>& options = {}, bool isStreaming = true) {
    connectAll(options);
    if (HasFatalFailure() || IsSkipped()) return false;
    for (const LabDevice* device : devices_) {
      if (isStreaming) device->control("stream on");
    }
    return true;
  }

  void connectAll(std::vector<std::string> options) {
    options.insert(options.end(), {"--control", "stream off"});
    stack_.start(8);
    fenwix_ = add("fenwix", options);
    tramsel_ = add("tramsel", options);
    corvelta_ = add("corvelta", options);
    ilo_ = add("ilo", options);
    if (!hasLinksApart()) GTEST_SKIP() << kOneLink;
    bridge_ = &startBridge();
    for (LabDevice* device : devices_) {
      device->control("advertise on");
      ASSERT_TRUE(device->waitFor("connected", 1, 60s));
    }
    ASSERT_TRUE(fenwix_->waitFor(std::string("subscribed ") + commandUuid, 1, 60s));
    ASSERT_TRUE(tramsel_->waitFor(std::string("subscribed ") + motionUuid, 1, 60s));
    ASSERT_TRUE(corvelta_->waitFor(std::string("subscribed ") + contractionUuid, 1, 60s));
    ASSERT_TRUE(ilo_->waitFor(std::string("subscribed ") + iloUuid, 1, 60s));
    ASSERT_TRUE(bridge_->waitForMessage(kIdentification, 60s));
  }

  // Whether a controller can have several links. For btvirt of 5.55 all of them are link 42, so
  // that the kernel refuses the second, and a packet goes to any.
  bool hasLinksApart() const { return spare_.front()->areLinksApart(); }

  void command(const std::string& line) const { ASSERT_TRUE(bridge_->writeLine(line)); }

  // Waits for the message of a value that the Fenwix sent after this many earlier ones, so that
  // values left over from before do not count.
  bool waitForValueAfter(std::string_view uuid, std::size_t earlier) {
    return bridge_
        ->waitFor([&](const support::OutputLine& line) {
          if (!line.text.starts_with(uuid == rawUuid ? "PR1;" : "PR2;")) return false;
          const auto sent = fenwix_->sent(uuid);
          return std::ranges::any_of(
              sent.begin() + static_cast<std::ptrdiff_t>(earlier), sent.end(),
              [&](const std::string& hex) { return line.text == payloadOf(uuid, hex); });
        })
        .has_value();
  }

  std::size_t countMessages(const std::string& payload) const {
    return static_cast<std::size_t>(std::ranges::count_if(
        bridge_->lines(),
        [&](const support::OutputLine& line) { return line.isMessage(payload); }));
  }

  std::vector<std::unique_ptr<SpareLinks>> spare_;
  std::vector<LabDevice*> devices_;
  std::unique_ptr<LabDevice> fenwix_;
  std::unique_ptr<LabDevice> tramsel_;
  std::unique_ptr<LabDevice> corvelta_;
  std::unique_ptr<LabDevice> ilo_;
  support::BridgeProcess* bridge_ = nullptr;
};

// A number from the environment, or else the usual one.
unsigned long setting(const char* name, unsigned long usual) {
  const char* text = std::getenv(name);
  return text != nullptr ? std::stoul(text) : usual;
}

// VORNIX_STREAM_SECONDS: the duration; VORNIX_STREAM_RATE: values per second of each device.
TEST_F(FamiliesTest, FourDevicesStreamTogetherWithoutLoss) {
  const auto duration = setting("VORNIX_STREAM_SECONDS", 10);
  const auto rate = setting("VORNIX_STREAM_RATE", 250);
  if (!startAll({}, false)) return;
  for (const auto* device : {tramsel_.get(), corvelta_.get(), ilo_.get()}) {
    device->control("rate " + std::to_string(rate));
  }
  fenwix_->control("rate " + std::to_string(rate / 2));  // two RMS streams
  command("CV_debutAcquisition");
  ASSERT_TRUE(corvelta_->waitFor("wrote 5B4153A2-3F1C-4DC4-872E-E43265446878 01"));
  for (const auto* device : {fenwix_.get(), tramsel_.get(), corvelta_.get(), ilo_.get()}) {
    device->control("stream on");
  }
  std::size_t motions = 0;
  ASSERT_TRUE(bridge_->waitFor(
      [&](const support::OutputLine& line) {
        return line.text.starts_with("B;") && ++motions == rate * duration;
      },
      duration * 10s));
  for (const auto* device : {fenwix_.get(), tramsel_.get(), corvelta_.get(), ilo_.get()}) {
    device->control("stream off");
  }
  EXPECT_TRUE(waitForLast(*bridge_, *tramsel_, motionUuid, 60s));
  EXPECT_TRUE(waitForLast(*bridge_, *ilo_, iloUuid, 60s));
  EXPECT_TRUE(waitForLast(*bridge_, *corvelta_, contractionUuid, 60s));
  EXPECT_TRUE(waitForLast(*bridge_, *fenwix_, rmsUuid, 60s));
  EXPECT_TRUE(waitForLast(*bridge_, *fenwix_, rms2Uuid, 60s));
  expectAllTold(*bridge_, *tramsel_, motionUuid);
  expectAllTold(*bridge_, *ilo_, iloUuid);
  expectAllTold(*bridge_, *corvelta_, contractionUuid);
  expectAllTold(*bridge_, *fenwix_, rmsUuid);
  expectAllTold(*bridge_, *fenwix_, rms2Uuid);
  EXPECT_EQ(countMessages(kIdentification), 1U);
  EXPECT_TRUE(std::ranges::none_of(bridge_->lines(), &support::OutputLine::isDamaged));
}

TEST_F(FamiliesTest, RawStreamsRunOnlyBetweenTheirCommands) {
  if (!startAll({"--control", "rate 100"})) return;
  for (std::size_t turn = 1; turn <= 3; ++turn) {
    for (const char* uuid : {rawUuid, raw2Uuid}) {
      EXPECT_EQ(fenwix_->count(std::string("subscribed ") + uuid), turn - 1);
    }
    const std::size_t earlier = fenwix_->sent(rawUuid).size();
    const std::size_t earlier2 = fenwix_->sent(raw2Uuid).size();
    command("FX_startRaw");
    ASSERT_TRUE(waitForValueAfter(rawUuid, earlier));
    command("FX_startRaw2");
    ASSERT_TRUE(waitForValueAfter(raw2Uuid, earlier2));
    command("FX_stopRaw");
    command("FX_stopRaw2");
    EXPECT_TRUE(fenwix_->waitFor(std::string("unsubscribed ") + rawUuid, turn));
    EXPECT_TRUE(fenwix_->waitFor(std::string("unsubscribed ") + raw2Uuid, turn));
  }
  // The other streams went on.
  std::size_t more = 0;
  EXPECT_TRUE(bridge_->waitFor([&](const support::OutputLine& line) {
    return line.text.starts_with("P1;") && ++more == 20;
  }));
  EXPECT_TRUE(std::ranges::none_of(bridge_->lines(), &support::OutputLine::isDamaged));
}

TEST_F(FamiliesTest, CommandsReachTheDeviceByteForByte) {
  if (!startAll()) return;
  const std::string calibration = "0860AC22-B172-468E-9755-03A53F3C7E40";
  const std::string acquisition = "5B4153A2-3F1C-4DC4-872E-E43265446878";
  for (const char* line :
       {"CV_debutCalib", "CV_finCalib", "CV_debutAcquisition", "CV_finAcquisition",
        "FX_cmdWriteInt 12 100000", "FX_cmdWriteInt 3 4294967295", "FX_cmdWriteByte 7 1"}) {
    command(line);
  }
  EXPECT_TRUE(corvelta_->waitFor("wrote " + calibration + " 01"));
  EXPECT_TRUE(corvelta_->waitFor("wrote " + calibration + " 00"));
  EXPECT_TRUE(corvelta_->waitFor("wrote " + acquisition + " 01"));
  EXPECT_TRUE(corvelta_->waitFor("wrote " + acquisition + " 00"));
  EXPECT_TRUE(fenwix_->waitFor("wrote 3A93 0C0400A0860100"));
  EXPECT_TRUE(fenwix_->waitFor("wrote 3A93 030400FFFFFFFF"));
  EXPECT_TRUE(fenwix_->waitFor("wrote 3A93 07010001"));
  EXPECT_TRUE(bridge_->waitForMessage("K;NC;1;"));
}

TEST_F(FamiliesTest, JsonDocumentOfSixtyThousandBytes) {
  if (!startAll({"--control", "rate 50"})) return;
  fenwix_->control("json 60000");
  command("FX_getJson");
  const auto isDocument = [](const support::OutputLine& line) {
    return line.kind == vornix_host::LineKind::message && line.text.starts_with("PJSON;");
  };
  const auto reply = bridge_->waitFor(isDocument, 60s);
  ASSERT_TRUE(reply);
  EXPECT_EQ(reply->text.size(), 60000 + std::string("PJSON;;").size());
  // The device notes a value after it has sent it.
  const std::size_t headerSize = 4;
  const std::size_t size = fenwix_->sent(commandUuid).at(0).size() / 2;
  ASSERT_TRUE(fenwix_->waitFor(std::string("sent ") + commandUuid + ' ',
                               (headerSize + 60000 + size - 1) / size));
  std::string sent;
  for (const std::string& hex : fenwix_->sent(commandUuid)) {
    for (std::size_t i = 0; i < hex.size(); i += 2) {
      sent += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    }
  }
  EXPECT_GT(fenwix_->sent(commandUuid).size(), 100U);
  EXPECT_EQ(reply->text, "PJSON;" + sent.substr(headerSize) + ";");
}

// Calibrations and mains power are notified as they happen.
TEST_F(FamiliesTest, CorveltaReportsCalibrationMainsFirmwareAndBattery) {
  if (!startAll()) return;
  const auto has = [this](const std::string& text) {
    return std::ranges::any_of(bridge_->lines(),
                               [&](const auto& line) { return line.text == text; });
  };
  corvelta_->control("mains 1");
  EXPECT_TRUE(bridge_->waitForLog("Corvelta en charge : 1"));
  EXPECT_TRUE(bridge_->waitForMessage("V;"));
  corvelta_->control("mains 0");
  EXPECT_TRUE(bridge_->waitForLog("Corvelta en charge : 0"));
  corvelta_->control("calibration 5");
  EXPECT_TRUE(bridge_->waitForMessage("K;NC;5;"));
  corvelta_->control("calibration-error 3");
  EXPECT_TRUE(bridge_->waitForMessage("K;EC;3;"));
  EXPECT_TRUE(has("C;4;0;87;0;"));
  EXPECT_TRUE(has("version FW du CorVelta : 2.1.4"));
  EXPECT_EQ(countMessages("V;"), 1U);
}

TEST_F(FamiliesTest, SecondDeviceOfAServedFamilyIsIgnored) {
  stack_.start(3);
  const auto first = device(1, "tramsel", {"--name", "Tramsel-1", "--rate", "100"});
  support::BridgeProcess& bridge = startBridge();
  EXPECT_TRUE(waitForMotions(bridge, 20));
  const auto second = device(2, "tramsel", {"--name", "Tramsel-2", "--rate", "100"});
  EXPECT_TRUE(stack_.bluez().waitUntil([this] {
    return std::ranges::any_of(stack_.bluez().devices(),
                               [](const auto& found) { return found.name == "Tramsel-2"; });
  }));
  EXPECT_TRUE(waitForMotions(bridge, 200));
  EXPECT_EQ(second->count("connected"), 0U);
  EXPECT_EQ(std::ranges::count_if(bridge.lines(),
                                  [](const auto& line) { return line.isMessage("C;3;0;"); }),
            1);
}

// Finding a Fenwix does not count for the end of the scan.
TEST_F(FamiliesTest, ScanEndsWhenTramselProbeAndCorveltaAreFound) {
  stack_.start(8);
  fenwix_ = add("fenwix", {});
  tramsel_ = add("tramsel", {"--rate", "10"});
  ilo_ = add("ilo", {"--rate", "10"});
  corvelta_ = add("corvelta", {});
  if (!hasLinksApart()) GTEST_SKIP() << kOneLink;
  bridge_ = &startBridge();
  for (LabDevice* device : {fenwix_.get(), tramsel_.get(), ilo_.get()}) {
    device->control("advertise on");
    ASSERT_TRUE(device->waitFor("connected", 1, 60s));
  }
  ASSERT_TRUE(bridge_->waitForMessage(kIdentification, 60s));
  // Three seconds of values, so that the rule is applied three times.
  std::size_t motions = 0;
  EXPECT_TRUE(bridge_->waitFor([&](const support::OutputLine& line) {
    return line.text.starts_with("B;") && ++motions == 30;
  }));
  const auto stopped = [](const support::OutputLine& line) { return line.isLog("Stop Scan"); };
  EXPECT_TRUE(std::ranges::none_of(bridge_->lines(), stopped));
  corvelta_->control("advertise on");
  EXPECT_TRUE(bridge_->waitForLog("Stop Scan"));
}

// The reader thread makes writes and subscriptions as fast as it can while all devices stream.
TEST_F(FamiliesTest, CommandsWithoutPauseWhileAllStream) {
  if (!startAll({"--control", "rate 100"})) return;
  constexpr int kRounds = 50;
  for (int round = 0; round < kRounds; ++round) {
    for (const char* line : {"FX_startRaw", "FX_cmdWriteByte 7 1", "FX_stopRaw", "CV_debutCalib",
                             "FX_cmdWriteInt 12 100000", "CV_finCalib"}) {
      command(line);
    }
  }
  command("FX_cmdWriteByte 9 9");
  EXPECT_TRUE(fenwix_->waitFor("wrote 3A93 09010009", 1, 120s));
  EXPECT_TRUE(corvelta_->waitFor("wrote 0860AC22-B172-468E-9755-03A53F3C7E40 00", kRounds, 60s));
  EXPECT_EQ(fenwix_->count("wrote 3A93 07010001"), static_cast<std::size_t>(kRounds));
  EXPECT_EQ(fenwix_->count("wrote 3A93 0C0400A0860100"), static_cast<std::size_t>(kRounds));
  command("kill");
  EXPECT_EQ(bridge_->waitForEnd(), support::ProcessEnd::status(0));
  EXPECT_TRUE(std::ranges::none_of(bridge_->lines(), &support::OutputLine::isDamaged));
  EXPECT_EQ(bridge_->standardError(), "");
}

// The five numbers that identify a Fenwix and the subscription of its command channel: each of
// these six events may be the last.
struct LastEvent {
  const char* name;
  const char* service;
  const char* entry;  // of the device's journal
};

class IdentificationFamiliesTest : public StackTest,
                                   public ::testing::WithParamInterface<LastEvent> {};

TEST_P(IdentificationFamiliesTest, IsSentOnceWhicheverComesLast) {
  const std::string entry = GetParam().entry;
  stack_.start(2);
  LabDevice fenwix(folder_, "hci1", "fenwix",
                   {"--fault", std::string("last=") + GetParam().service, "--fault",
                    "last=" + entry.substr(entry.find(' ') + 1), "--rate", "20"});
  support::BridgeProcess& bridge = startBridge();
  const auto isIdentification = [](const support::OutputLine& line) {
    return line.isMessage("C;5;0;120034;2;260;3;7;");
  };
  EXPECT_TRUE(bridge.waitFor(isIdentification));
  std::size_t streamed = 0;
  EXPECT_TRUE(bridge.waitFor([&](const support::OutputLine& line) {
    return line.text.starts_with("P1;") && ++streamed == 20;
  }));
  EXPECT_EQ(std::ranges::count_if(bridge.lines(), isIdentification), 1);

  std::vector<std::string> events;
  for (const std::string& event : fenwix.journal()) {
    const bool isOneOfSix = event.starts_with("read 2A2") || event == "subscribed 3A93";
    if (isOneOfSix) events.push_back(event);
  }
  EXPECT_EQ(events.size(), 6U);
  EXPECT_EQ(events.back(), entry);
}

INSTANTIATE_TEST_SUITE_P(Events, IdentificationFamiliesTest,
                         ::testing::Values(LastEvent{"Modele", "180A", "read 2A24"},
                                           LastEvent{"Software", "180A", "read 2A28"},
                                           LastEvent{"Hardware", "180A", "read 2A27"},
                                           LastEvent{"Serial", "180A", "read 2A25"},
                                           LastEvent{"System", "180A", "read 2A23"},
                                           LastEvent{"Command", "98AC", "subscribed 3A93"}),
                         [](const auto& chosen) { return chosen.param.name; });

// A device that misbehaves, and how the bridge ends.
struct Misbehaviour {
  const char* name;
  const char* device;
  const char* fault;
  support::ProcessEnd end;
};

class MisbehaviourTest : public StackTest, public ::testing::WithParamInterface<Misbehaviour> {};

TEST_P(MisbehaviourTest, EndsTheBridge) {
  stack_.start(2);
  const LabDevice device(folder_, "hci1", GetParam().device,
                         {"--fault", GetParam().fault, "--rate", "20"});
  support::BridgeProcess& bridge = startBridge();
  EXPECT_EQ(bridge.waitForEnd(60s), GetParam().end);
  EXPECT_TRUE(std::ranges::none_of(bridge.lines(), &support::OutputLine::isDamaged));
  EXPECT_EQ(bridge.standardError(), "");
}

const auto kAborted = support::ProcessEnd::signal(SIGABRT);

INSTANTIATE_TEST_SUITE_P(
    Devices, MisbehaviourTest,
    ::testing::Values(Misbehaviour{"MotionTooShort", "tramsel",
                                   "short=EF680408-9B35-4933-9B10-52FFA9740042:17", kAborted},
                      Misbehaviour{"BatteryReadRefused", "tramsel", "refuse-read=2A19", kAborted},
                      Misbehaviour{"IloRecordTooShort", "ilo",
                                   "short=23BCDD50-00AC-446D-92B9-07AB6E436AD8:12", kAborted},
                      Misbehaviour{"RmsTooShort", "fenwix", "short=3A89:3", kAborted},
                      Misbehaviour{"SerialNumberZero", "fenwix", "value=2A25:00000000",
                                   support::ProcessEnd::status(0)}),
    [](const auto& chosen) { return chosen.param.name; });

}  // namespace
}  // namespace stack
