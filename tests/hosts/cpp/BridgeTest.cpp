// Tests of the C++ package's Bridge, with the demo and with a bridge that follows a test's script
// (tests/hosts/python/fake.py).
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>

#include <filesystem>
#include <string>
#include <vector>

#include "vornix_host/Bridge.h"

namespace {

using namespace std::chrono_literals;
using namespace vornix_host;

using Words = std::vector<std::string>;

constexpr auto kPatience = 60s;  // only a failing test waits this long

Words demo(Words arguments) {
  arguments.insert(arguments.begin(), VORNIX_DEMO);
  return arguments;
}

Words fake(Words steps) {
  const Words program{VORNIX_PYTHON, "-B", VORNIX_FAKE};
  steps.insert(steps.begin(), program.begin(), program.end());
  return steps;
}

Bridge::Options quick(Words command) {
  Bridge::Options options;
  options.command = std::move(command);
  options.shortestPause = 10ms;
  return options;
}

template <class Kind>
Kind first(Bridge& bridge) {
  while (const auto event = bridge.nextWithin(kPatience)) {
    if (const Kind* kind = event->as<Kind>()) return *kind;
  }
  ADD_FAILURE() << "it did not come";
  return Kind{};
}

template <class Kind>
std::vector<Kind> rest(Bridge& bridge) {
  std::vector<Kind> found;
  while (const auto event = bridge.next()) {
    if (const Kind* kind = event->as<Kind>()) found.push_back(*kind);
  }
  return found;
}

// The events about the bridge itself until it is over, one word each.
std::string story(Bridge& bridge) {
  std::string words;
  while (const auto event = bridge.nextWithin(kPatience)) {
    if (event->as<Started>()) words += "started ";
    if (event->as<TrustLost>()) words += "trust lost ";
    if (event->as<Ended>()) words += "ended ";
    if (event->as<Restarting>()) words += "restarting ";
    if (event->as<GivenUp>()) words += "given up ";
  }
  return words;
}

std::string newName() {
  char folder[] = "/tmp/vornix-host-XXXXXX";
  EXPECT_NE(::mkdtemp(folder), nullptr);
  return std::string(folder) + "/mark";
}

TEST(BridgeOverTheDemo, GivesMotionsWithTheTimeOfTheirArrival) {
  const auto begin = std::chrono::steady_clock::now();
  Bridge bridge({.command = demo({"--devices", "tramsel"})});
  first<TramselFound>(bridge);
  auto last = begin;
  for (std::int16_t i = 0; i < 5;) {
    const auto event = bridge.nextWithin(kPatience);
    ASSERT_TRUE(event);
    const auto* motion = event->as<TramselMotion>();
    if (motion == nullptr) continue;
    EXPECT_EQ(motion->values[0], i++);
    EXPECT_LE(last, event->monotonic);
    last = event->monotonic;
  }
  EXPECT_LE(last, std::chrono::steady_clock::now());
}

TEST(BridgeOverTheDemo, CarriesOutCommandsThatWereSentBeforeTheDeviceWasReady) {
  Bridge bridge({.command = demo({"--devices", "corvelta,fenwix", "--control", "json 60"})});
  bridge.send("FX_getJson");
  bridge.send("FX_startRaw2");
  bridge.send("CV_debutAcquisition");
  bool contraction = false, json = false, raw = false;
  while (!contraction || !json || !raw) {
    const auto event = bridge.nextWithin(kPatience);
    ASSERT_TRUE(event);
    contraction = contraction || event->as<CorveltaContraction>();
    json = json || event->as<FenwixJson>();
    raw = raw || event->as<FenwixRaw>();
  }
}

TEST(BridgeOverTheDemo, ReportsTheRadiosStateAsAWord) {
  for (const std::string word : {"off", "unauthorized", "unsupported"}) {
    Bridge bridge({.command = demo({"--fault", "radio=" + word})});
    EXPECT_EQ(first<RadioChanged>(bridge).state, word);
    EXPECT_EQ(first<GivenUp>(bridge).why, "Bluetooth is " + word);
    EXPECT_FALSE(bridge.next());
  }
}

TEST(BridgeOverTheDemo, ReportsAStreamThatHasStopped) {
  Bridge::Options options;
  options.command = demo({"--devices", "tramsel", "--fault", "lost=1"});
  options.silence = 500ms;
  Bridge bridge(options);
  EXPECT_EQ(first<StreamLost>(bridge).stream, "motion");
}

TEST(BridgeOverTheDemo, StartsAgainWhenAskedToAfterALoss) {
  Bridge::Options options = quick(demo({"--devices", "tramsel", "--fault", "lost=1"}));
  options.silence = 500ms;
  options.restartOnLoss = true;
  Bridge bridge(options);
  first<StreamLost>(bridge);
  EXPECT_EQ(first<Ended>(bridge).status, 0);
  EXPECT_EQ(first<Started>(bridge).start, 2);
  first<TramselMotion>(bridge);
}

TEST(BridgeOverTheDemo, ReportsADeviceThatWasLostBeforeItsServicesWereKnown) {
  Bridge bridge({.command = demo({"--devices", "corvelta", "--fault", "drop-at=services"})});
  EXPECT_EQ(first<DeviceLost>(bridge).name, "Tarvix-1");
  bridge.send("CV_debutCalib");  // is held back, since it would end the bridge
  bridge.send("bonjour");
  EXPECT_EQ(first<LogEntry>(bridge).text, "commande recue non traitee : bonjour");
  bridge.close();
  EXPECT_EQ(rest<LogEntry>(bridge).back().text, "cde : kill");
}

TEST(BridgeOverTheDemo, IsStartedAgainWhenAskedToAfterADeviceFailed) {
  Bridge::Options options = quick(demo({"--devices", "tramsel", "--fault", "refuse-services"}));
  options.restartOnLoss = true;
  Bridge bridge(options);
  EXPECT_EQ(first<DeviceLost>(bridge).name, "Tramsel-1");
  EXPECT_EQ(first<Ended>(bridge).status, 0);
  EXPECT_EQ(first<Started>(bridge).start, 2);
}

TEST(BridgeOverTheDemo, LearnsThatADeviceCannotCarryOutACommand) {
  Bridge bridge(quick(
      demo({"--devices", "corvelta", "--fault", "hide=0860AC22-B172-468E-9755-03A53F3C7E40"})));
  for (int i = 0; i < 2; ++i) {
    bridge.send("CV_debutCalib");
    EXPECT_EQ(first<Ended>(bridge).status, -SIGABRT);
  }
  EXPECT_EQ(first<Started>(bridge).start, 3);
  EXPECT_THROW(bridge.send("CV_debutCalib"), CommandError);
  bridge.send("CV_debutAcquisition");
  first<CorveltaContraction>(bridge);
}

TEST(BridgeOverTheDemo, EndsDuringAFastStreamWithoutLosingAValue) {
  Bridge bridge({.command = demo({"--devices", "tramsel", "--control", "rate 1000"})});
  first<TramselMotion>(bridge);
  bridge.close();
  const auto motions = rest<TramselMotion>(bridge);
  EXPECT_GT(motions.size(), 10U);
  for (std::size_t i = 0; i < motions.size(); ++i) {
    ASSERT_EQ(motions[i].values[0], static_cast<std::int16_t>(i + 1));
  }
}

TEST(BridgeOverAPlayedOne, GivesTheLinesBetweenDamage) {
  // "stray", a line feed, a message that is cut off
  Bridge bridge({.command = fake({"bytes=73747261790a3c433b313b", "message=V;", "exit=0"})});
  EXPECT_EQ(first<DamagedLine>(bridge).bytes, "stray\n");
  EXPECT_EQ(first<DamagedLine>(bridge).bytes, "<C;1;");
  first<CorveltaOnMains>(bridge);
}

TEST(BridgeOverAPlayedOne, PausesAndStartsAgainUntilTheRecipeGivesUp) {
  Bridge bridge(quick(fake({"log=begin", "abort"})));
  EXPECT_EQ(story(bridge), "started ended restarting started ended given up ");
}

TEST(BridgeOverAPlayedOne, IsNotStartedAgainWhereTheHostDoesNotWantIt) {
  Bridge::Options options = quick(fake({"abort"}));
  options.restart = false;
  Bridge bridge(options);
  EXPECT_EQ(story(bridge), "started ended given up ");
}

TEST(BridgeOverAPlayedOne, ForgetsAtAStartWhichDevicesWereReady) {
  Bridge bridge(
      quick(fake({"once=" + newName(), "message=C;5;0;1;2;3;4;5;", "wait=FX_startRaw", "abort",
                  "end", "wait=go", "log=gone", "message=C;5;0;9;2;3;4;5;", "echo"})));
  bridge.send("FX_startRaw");
  EXPECT_EQ(first<Ended>(bridge).status, -SIGABRT);
  bridge.send("FX_stopRaw");
  EXPECT_EQ(first<Started>(bridge).start, 2);
  bridge.send("go");
  EXPECT_EQ(first<LogEntry>(bridge).text, "gone");
  EXPECT_EQ(first<LogEntry>(bridge).text, "FX_stopRaw");
}

TEST(BridgeOverAPlayedOne, RefusesCommandsThatWouldEndIt) {
  Bridge bridge({.command = fake({"message=C;5;0;1;2;3;4;5;", "echo"})});
  EXPECT_THROW(bridge.send("FX_cmdWriteByte 3 256"), CommandError);
  EXPECT_THROW(bridge.send("FX_cmdWriteInt 3"), CommandError);
  bridge.send("FX_cmdWriteByte 3 255");
  EXPECT_EQ(first<LogEntry>(bridge).text, "FX_cmdWriteByte 3 255");
}

TEST(BridgeOverAPlayedOne, GetsNoOtherChannelCommandWhileADocumentIsAwaited) {
  Bridge bridge(
      {.command = fake({"message=C;5;0;1;2;3;4;5;", "wait=go", "message=PJSON;;", "echo"})});
  first<FenwixIdentity>(bridge);
  for (const char* line : {"FX_cmdWriteInt 19 0", "FX_cmdWriteByte 7 1", "FX_startRaw", "go"}) {
    bridge.send(line);
  }
  first<FenwixJson>(bridge);
  EXPECT_EQ(first<LogEntry>(bridge).text, "FX_cmdWriteByte 7 1");
}

TEST(BridgeOverAPlayedOne, IsGivenUpWhenAskedToStartAgainAndADeviceAlwaysFails) {
  Bridge::Options options = quick(fake({"log=erreur de lecture des services x de Ilo-7", "echo"}));
  options.restartOnLoss = true;
  Bridge bridge(options);
  const std::string again = "started ended restarting ";
  EXPECT_EQ(story(bridge), again + again + again + again + "started ended given up ");
}

TEST(BridgeOverAPlayedOne, FindsTheNameOfALostDeviceBehindAnErrorOfAnyWords) {
  Bridge bridge(
      {.command = fake({"log=Connexion a Paul", "log=Connexion a Tramsel de Paul",
                        "log=erreur de lecture des services fin de liaison de Tramsel de Paul",
                        "log=erreur de lecture des services fin de liaison de Paul",
                        "log=erreur de lecture des services fin de liaison de Ilo-7", "exit=0"})});
  EXPECT_EQ(first<DeviceLost>(bridge).name, "Tramsel de Paul");
  EXPECT_EQ(first<DeviceLost>(bridge).name, "Paul");
  EXPECT_EQ(first<DeviceLost>(bridge).name, "Ilo-7");
}

TEST(BridgeOverAPlayedOne, IsStartedAgainWhenAskedToAfterAResetOfTheRadio) {
  Bridge::Options options =
      quick(fake({"message=C;4;0;9;0;", "wait=go", "log=manager state update : resetting",
                  "wait=on", "log=manager state update : poweredOn", "echo"}));
  options.restartOnLoss = true;
  Bridge bridge(options);
  first<CorveltaBattery>(bridge);
  bridge.send("go");
  EXPECT_EQ(first<RadioChanged>(bridge).state, "resetting");
  bridge.send("CV_debutCalib");  // is held back, since the device is lost
  bridge.send("on");
  EXPECT_EQ(first<Ended>(bridge).status, 0);
  EXPECT_EQ(first<Started>(bridge).start, 2);
}

TEST(BridgeOverAPlayedOne, GetsTheStopCommandsForWhatItStartedBeforeItsEnd) {
  Bridge bridge({.command = fake({"message=C;4;0;9;0;", "message=C;5;0;1;2;3;4;5;", "echo"})});
  for (const char* line : {"CV_debutAcquisition", "FX_startRaw", "FX_startRaw2", "FX_stopRaw"}) {
    bridge.send(line);
  }
  while (first<LogEntry>(bridge).text != "FX_stopRaw") {
  }
  bridge.close();
  const auto log = rest<LogEntry>(bridge);
  ASSERT_EQ(log.size(), 2U);
  EXPECT_EQ(log[0].text, "CV_finAcquisition");
  EXPECT_EQ(log[1].text, "FX_stopRaw2");
}

TEST(BridgeOverAPlayedOne, IsReadToItsEndBeforeItIsEnded) {
  Bridge::Options options = quick(fake({"values=300", "echo"}));
  options.drained = 1s;  // on a busy machine the output may pause for longer than usual
  Bridge bridge(options);
  first<FenwixRms>(bridge);
  bridge.close();
  EXPECT_EQ(rest<FenwixRms>(bridge).size(), 299U);
}

// The bridge answers each line before it reads the next, so a host that did not read while it
// writes would block for ever.
TEST(BridgeOverAPlayedOne, GetsCommandsThatAreMoreThanAPipeHolds) {
  Bridge bridge({.command = fake({"echo"})});
  for (int i = 0; i < 1000; ++i) bridge.send(std::string(1000, 'x'));
  bridge.send("last");
  int count = 0;
  while (first<LogEntry>(bridge).text != "last") ++count;
  EXPECT_EQ(count, 1000);
}

TEST(BridgeOverAPlayedOne, MayCloseItsInputBeforeAllIsWritten) {
  ::signal(SIGPIPE, SIG_DFL);  // so that an unhandled SIGPIPE would end this test
  Bridge::Options options = quick(fake({"deaf", "exit=3"}));
  options.restart = false;
  Bridge bridge(options);
  EXPECT_EQ(first<LogEntry>(bridge).text, "deaf");
  bridge.send("bonjour");
  EXPECT_EQ(rest<FenwixRms>(bridge).size(), 500U);
}

// A step of the played bridge that writes this text unframed.
std::string plain(std::string_view text) {
  std::string step = "bytes=";
  for (const char character : text) {
    for (const int shift : {4, 0}) step += "0123456789abcdef"[character >> shift & 15];
  }
  return step;
}

// The kinds of the events from the loss of trust on, in one life of a bridge. The host asks for a
// document; after the damage, the bridge writes lines that may be the document's text.
std::string behind(Words damage) {
  Words steps{"log=" + std::string(70000, 'x'), plain("stray\n"), "message=C;5;0;1;2;3;4;5;",
              "wait=FX_cmdWriteInt 19 0"};
  steps.insert(steps.end(), damage.begin(), damage.end());
  for (const char* step : {"message=C;4;0;9;0;", "message=V;", "log=x", "message=Z;2;", "echo"}) {
    steps.emplace_back(step);
  }
  Bridge::Options options = quick(fake(steps));
  options.restart = false;
  Bridge bridge(options);
  bridge.send("FX_cmdWriteInt 19 0");
  std::string words;
  while (const auto event = bridge.nextWithin(kPatience)) {
    if (const auto* lost = event->as<TrustLost>()) words = "trust lost: " + lost->why + ", ";
    if (event->as<CorveltaOnMains>()) bridge.close();
    if (words.empty()) continue;
    if (const auto* ended = event->as<Ended>()) words += std::to_string(ended->status);
    if (const auto* over = event->as<GivenUp>()) words += ", " + over->why;
    if (std::holds_alternative<Message>(event->what)) words += "a message ";
  }
  return words;
}

TEST(BridgeWithADocument, IsTrustedInNothingAfterDamageThatMayBeItsText) {
  const std::string damaged = "damaged output may be the text of a document";
  const std::string isNoJson = "a document is no JSON";
  const std::string isTwice = "a device is told of twice, as only the text of a document does";
  const std::string near(65529, 'x');
  const std::vector<std::pair<Words, std::string>> cases{
      {{plain("<PJSON;{\"a\":1")}, damaged},
      {{plain("<PJSON;{};0000>\n")}, damaged},
      {{plain("<PJSON;{\"a\":\"x>\n")}, damaged},
      {{plain("stray\n")}, damaged},
      {{"message=PJSON;{\"a\":1;"}, isNoJson},
      {{"message=PJSON; ;"}, isNoJson},
      {{"message=PJSON;[NaN];"}, isNoJson},
      {{"message=PJSON;[1];", plain("rest of it\n")}, damaged},
      {{"message=PJSON;[1];", "log=" + near, plain("y\n")}, damaged},
      {{"message=PJSON;[1];", "message=C;5;0;6;2;3;4;5;"}, isTwice},
  };
  for (const auto& [steps, why] : cases) {
    EXPECT_EQ(behind(steps), "trust lost: " + why + ", 0, " + why) << steps.front();
  }
}

TEST(BridgeWithADocument, IsTrustedAfterAWholeDocument) {
  for (const char* text : {"", "[1]", " {\"a\" : [-0.5e+7, \"<>\"]} "}) {
    const Words steps{"message=PJSON;" + std::string(text) + ";", "log=" + std::string(65530, 'x'),
                      plain("y\n"), "message=V;"};
    EXPECT_EQ(behind(steps), "") << text;
  }
}

TEST(BridgeWithADocument, GivesADocumentThatNobodyAskedForAsUnknown) {
  Bridge bridge({.command = fake({"message=PJSON;[1];", "message=V;", "exit=0"})});
  EXPECT_EQ(first<UnknownMessage>(bridge).payload, "PJSON;[1];");
  first<CorveltaOnMains>(bridge);
  Bridge::Options options = quick(fake({"message=PJSON;[1;", "message=V;", "exit=0"}));
  options.restart = false;
  Bridge other(options);
  EXPECT_EQ(story(other), "started trust lost ended given up ");
}

TEST(BridgeWithADocument, IsStartedAgainAndNeverAskedForOneAgain) {
  Bridge bridge(quick(
      fake({"once=" + newName(), "message=C;5;0;1;2;3;4;5;", "wait=FX_getJson", plain("<PJSON;{\n"),
            "message=C;4;0;9;0;", "echo", "end", "message=C;5;0;1;2;3;4;5;", "echo"})));
  for (const char* line : {"FX_getJson", "FX_cmdWriteInt 19 0", "FX_cmdWriteByte 7 1"}) {
    bridge.send(line);
  }
  first<TrustLost>(bridge);
  EXPECT_EQ(bridge.next()->as<Ended>()->status, 0);
  EXPECT_EQ(first<Started>(bridge).start, 2);
  EXPECT_EQ(first<LogEntry>(bridge).text, "FX_cmdWriteByte 7 1");
  EXPECT_THROW(bridge.send("FX_getJson"), CommandError);
  EXPECT_THROW(bridge.send("FX_cmdWriteByte +19 0"), CommandError);
}

TEST(BridgeWithADocument, IsGivenUpWhenTheDamageRepeats) {
  Bridge bridge(quick(fake({"log=begin", plain("<PJSON;{\n"), "message=V;", "abort"})));
  const std::string again = "started trust lost ended restarting ";
  EXPECT_EQ(story(bridge), again + again + again + again + "started trust lost ended given up ");
}

TEST(BridgeThatIsNotThere, IsReportedAtOnce) {
  EXPECT_THROW(Bridge({.command = {"/nowhere/vornix"}}), std::system_error);
  EXPECT_THROW(Bridge({.command = {}}), std::system_error);
}

}  // namespace
