// Devices, from the values that they send to the lines that the host reads.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "Scenario.h"

namespace process_test {
namespace {

using Lines = std::vector<std::string>;

// The lines that the bridge writes after its banner and the radio's state, up to the given one.
Lines saidUntil(Bridge& bridge, const std::string& last) {
  expectLine(bridge, last);
  bridge.closeInput();
  expectQuietEnd(bridge);
  Lines lines = transcript(bridge);
  EXPECT_EQ(Lines(lines.begin(), lines.begin() + 2), (Lines{banner, poweredOn}));
  lines.erase(lines.begin(), lines.begin() + 2);
  return lines;
}

TEST(Tramsel, SendsItsMotion) {
  Bridge bridge(with(tramsel(), id::motion, {"send=0100FFFF3412F4FF0000E8037FFF0080FF7F"}));
  EXPECT_EQ(saidUntil(bridge, "<B;92;1;-1;4660;-12;0;1000;-129;-32768;32767;"),
            (Lines{"@Device trouve : tramsel-12", "<C;3;0;", "@Connexion a Tramsel-12",
                   "<B;92;1;-1;4660;-12;0;1000;-129;-32768;32767;"}));
}

TEST(Ilo, SendsItsMeasurement) {
  Bridge bridge(with(ilo(), id::ilo, {"send=00003412000000000000000050"}));
  EXPECT_EQ(saidUntil(bridge, "<S;80;4660;0;"), (Lines{"@Device trouve : ilo-1234", "<C;1;",
                                                       "@Connexion a ILO-1234", "<S;80;4660;0;"}));
}

TEST(Tenoval, SendsItsMeasurement) {
  Bridge bridge(with(tenoval(), id::tenoval, {"send=1234000A"}));
  EXPECT_EQ(
      saidUntil(bridge, "<S;90;4660;10;"),
      (Lines{"@Device trouve : tenoval-7", "<C;2;", "@Connexion a Tenoval-7", "<S;90;4660;10;"}));
}

TEST(Corvelta, SendsItsRecordsAndState) {
  Bridge bridge(with(corvelta(), id::contractions, {"send=010203040506"}));
  EXPECT_EQ(saidUntil(bridge, "<C;4;0;100;0;"),
            (Lines{"@Device trouve : tarvix-3", "@Connexion a Tarvix-3",
                   "@version FW du CorVelta : 1.2.3", "@Corvelta en charge : 1", "<V;",
                   "<K;MC;1284;6;197121;", "<C;4;0;100;0;"}));
}

TEST(Fenwix, IdentifiesItselfAndStreams) {
  Bridge bridge(with(with(fenwix(), id::rms, {"send=0000803F"}), id::rms2, {"send=CDCCCC3D"}));
  expectLine(bridge, "<C;5;0;120034;2;260;3;7;");
  bridge.closeInput();
  expectQuietEnd(bridge);
  Lines lines = transcript(bridge);
  std::sort(lines.begin(), lines.end());
  Lines expected{banner,
                 poweredOn,
                 "@Device trouve : nomsuel-9",
                 "@Connexion a Nomsuel-9",
                 "@didUpdateNotificationStateFor 3A93 : ok",
                 "<P0;87;1;",
                 "<P1;10000000;",
                 "<P2;1000000;",
                 "<C;5;0;120034;2;260;3;7;"};
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(lines, expected);
}

TEST(Fenwix, WithSerialNumberZeroEndsTheBridge) {
  Bridge bridge(with(fenwix(), id::serial, {"value=00000000"}));
  expectQuietEnd(bridge);
  EXPECT_EQ(transcript(bridge).back(), "@Erreur \xC3\xA0 l'init du Fenwix");
}

TEST(Fenwix, WithoutItsCommandSubscriptionIsNotIdentified) {
  Bridge bridge(with(fenwix(), id::command, {"refuse-subscription"}));
  expectLine(bridge, "@didUpdateNotificationStateFor 3A93 : Erreur : insufficient authentication");
  bridge.closeInput();
  expectQuietEnd(bridge);
  const Lines lines = transcript(bridge);
  EXPECT_TRUE(std::none_of(lines.begin(), lines.end(),
                           [](const std::string& line) { return line.starts_with("<C;5;"); }));
}

TEST(Json, OfOneNotificationIsPassedOn) {
  Bridge bridge(with(fenwix(), id::command, {"send=AA1303005B315D"}));
  expectLine(bridge, "<PJSON;[1];");
}

TEST(Json, OfManyNotificationsIsPutTogether) {
  Bridge bridge(with(fenwix(), id::command, {"send=AA130300", "send=5B", "send=", "send=315D55"}));
  expectLine(bridge, "<PJSON;[1];");
}

TEST(Json, OfNoTextIsPassedOn) {
  Bridge bridge(with(fenwix(), id::command, {"send=AA130000"}));
  expectLine(bridge, "<PJSON;;");
}

TEST(Json, WithAngleBracketsSemicolonsAndLineBreaksIsPassedOnAsItIs) {
  // {"a": ">CRLF<;LF", LF 0000> }
  Bridge bridge(with(fenwix(), id::command,
                     {"send=AA131700", "send=7B2261223A20223E0D0A3C3B0A222C0A303030303E207D"}));
  expectLine(bridge, "<PJSON;{\"a\": \">\r\n<;\n\",\n0000> };");
}

TEST(Json, OfTheGreatestLengthIsPassedOn) {
  Words air = with(fenwix(), id::command, {"send=AA13FFFF"});
  const std::string piece = "send=" + std::string(1000, '3');  // 500 times "3"
  std::vector<std::string> pieces(132, piece);  // 66,000 in all, so that the surplus is cut off
  Bridge bridge(with(air, id::command, pieces));
  expectLine(bridge, "<PJSON;" + std::string(65535, '3') + ";");
}

TEST(FailedServiceDiscovery, IsLoggedAndNothingMore) {
  for (const Words& device : {tramsel(), ilo(), tenoval(), corvelta(), fenwix()}) {
    Bridge bridge(withOwn(device, {"refuse-services"}));
    const std::string name = device.front().substr(std::string("device=").size());
    const std::string line =
        "@erreur de lecture des services Error Domain=CBATTErrorDomain Code=14 "
        "\"attribute error 14\" de " +
        name;
    EXPECT_EQ(saidUntil(bridge, line).back(), line);
  }
}

TEST(AllFamilies, ServedAtOnceEndTheScan) {
  Bridge bridge(tramsel() + ilo() + corvelta() + fenwix());
  expectLine(bridge, "@Stop Scan");
  bridge.closeInput();
  expectQuietEnd(bridge);
  const Lines lines = transcript(bridge);
  for (const char* line : {"<C;3;0;", "<C;1;", "<C;4;0;100;0;", "<C;5;0;120034;2;260;3;7;"}) {
    EXPECT_EQ(std::count(lines.begin(), lines.end(), line), 1) << line;
  }
}

TEST(FirstConnection, EndsTheScanSixtySecondsLaterAndOnlyOnce) {
  Bridge bridge(Words{"driven"} + fenwix());
  expectLine(bridge, "@Stop Scan");
  // Driven time runs on by minutes while the reader answers.
  for (int i = 0; i < 100; ++i) {
    ASSERT_TRUE(bridge.writeLine("on"));
    expectLine(bridge, "@commande recue non traitee : on");
  }
  bridge.closeInput();
  expectQuietEnd(bridge);
  const Lines lines = transcript(bridge);
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "@Stop Scan"), 1);
}

TEST(SecondDevice, OfAServedFamilyIsIgnored) {
  const Words second{"device=Tramsel-13", "service=180F"};
  Bridge bridge(tramsel() + second + with(ilo(), id::ilo, {"send=00003412000000000000000050"}));
  expectLine(bridge, "<S;80;4660;0;");
  bridge.closeInput();
  expectQuietEnd(bridge);
  for (const std::string& line : transcript(bridge)) {
    EXPECT_EQ(line.find("ramsel-13"), std::string::npos) << line;
  }
}

}  // namespace
}  // namespace process_test
