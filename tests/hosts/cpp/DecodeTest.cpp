#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <limits>
#include <string>
#include <variant>
#include <vector>

#include "vornix_host.h"

namespace {

using namespace vornix_host;

// The message in a payload, which has to be of this kind.
template <class Kind>
Kind decoded(std::string_view payload) {
  const Message message = decodePayload(payload);
  EXPECT_TRUE(std::holds_alternative<Kind>(message)) << payload << " is kind " << message.index();
  const Kind* kind = std::get_if<Kind>(&message);
  return kind != nullptr ? *kind : Kind{};
}

TEST(Decode, KnowsWhyTheRadioCannotBeUsed) {
  EXPECT_EQ(decoded<RadioUnusable>("Z;2;").reason, RadioUnusable::Reason::poweredOff);
  EXPECT_EQ(decoded<RadioUnusable>("Z;3;").reason, RadioUnusable::Reason::unsupported);
  EXPECT_EQ(decoded<RadioUnusable>("Z;4;").reason, RadioUnusable::Reason::unauthorized);
}

TEST(Decode, KnowsTheDevicesFound) {
  EXPECT_EQ(decoded<ProbeFound>("C;1;").model, ProbeFound::Model::ilo);
  EXPECT_EQ(decoded<ProbeFound>("C;2;").model, ProbeFound::Model::tenoval);
  decoded<TramselFound>("C;3;0;");
}

TEST(Decode, ReadsTheIdentityOfAFenwix) {
  const auto id = decoded<FenwixIdentity>("C;5;0;120034;2;260;3;4294967295;");
  EXPECT_EQ(id.serial, 120034U);
  EXPECT_EQ(id.model, 2U);
  EXPECT_EQ(id.firmware, 260U);
  EXPECT_EQ(id.hardware, 3U);
  EXPECT_EQ(id.systemId, 4294967295U);
}

TEST(Decode, ReadsTheBatteryOfAFenwix) {
  const auto battery = decoded<FenwixBattery>("P0;87;1;");
  EXPECT_EQ(battery.level, 87);
  EXPECT_EQ(battery.health, 1);
}

TEST(Decode, ReadsTheRmsStreams) {
  EXPECT_EQ(decoded<FenwixRms>("P1;10000000;").stream, 1);
  EXPECT_EQ(decoded<FenwixRms>("P1;10000000;").value, 10000000);
  EXPECT_EQ(decoded<FenwixRms>("P2;-9223372036854775808;").stream, 2);
  EXPECT_EQ(decoded<FenwixRms>("P2;-9223372036854775808;").value,
            std::numeric_limits<std::int64_t>::min());
}

TEST(Decode, ReadsTheBytesOfTheRawStreams) {
  EXPECT_EQ(decoded<FenwixRaw>("PR1;01A0FF;").stream, 1);
  EXPECT_EQ(decoded<FenwixRaw>("PR1;01A0FF;").bytes, (std::vector<std::uint8_t>{1, 0xA0, 0xFF}));
  EXPECT_EQ(decoded<FenwixRaw>("PR2;;").stream, 2);
  EXPECT_TRUE(decoded<FenwixRaw>("PR2;;").bytes.empty());
}

TEST(Decode, LeavesTheJsonTextAsItIs) {
  EXPECT_EQ(decoded<FenwixJson>("PJSON;[1];").text, "[1]");
  EXPECT_EQ(decoded<FenwixJson>("PJSON;;").text, "");
  EXPECT_EQ(decoded<FenwixJson>("PJSON;a;b>\n;;").text, "a;b>\n;");
}

TEST(Decode, ReadsTheMotionOfATramsel) {
  const auto motion = decoded<TramselMotion>("B;92;1;-1;4660;-12;0;1000;-129;-32768;32767;");
  EXPECT_EQ(motion.battery, 92);
  EXPECT_EQ(motion.values,
            (std::array<std::int16_t, 9>{1, -1, 4660, -12, 0, 1000, -129, -32768, 32767}));
}

TEST(Decode, GivesNoBatteryLevelWhileItIsUnknown) {
  EXPECT_FALSE(decoded<TramselMotion>("B;-1;0;0;0;0;0;0;0;0;0;").battery);
  EXPECT_FALSE(decoded<ProbeMeasurement>("S;-1;4660;10;").battery);
}

TEST(Decode, ReadsWhatACorveltaReports) {
  EXPECT_EQ(decoded<CorveltaBattery>("C;4;0;100;0;").level, 100);
  decoded<CorveltaOnMains>("V;");
  EXPECT_EQ(decoded<CorveltaCalibration>("K;NC;0;").value, 0);
  EXPECT_EQ(decoded<CorveltaCalibrationError>("K;EC;3;").code, 3);
  const auto contraction = decoded<CorveltaContraction>("K;MC;65535;255;16777215;");
  EXPECT_EQ(contraction.first, 65535);
  EXPECT_EQ(contraction.second, 255);
  EXPECT_EQ(contraction.third, 16777215U);
}

TEST(Decode, ReadsTheMeasurementOfAProbe) {
  const auto measurement = decoded<ProbeMeasurement>("S;255;65535;10;");
  EXPECT_EQ(measurement.battery, 255);
  EXPECT_EQ(measurement.first, 65535);
  EXPECT_EQ(measurement.second, 10);
}

TEST(Decode, GivesAnyOtherPayloadAsUnknown) {
  for (const char* payload : {"", ";", "X;1;", "Z;2", "PJSON;", "p1;5;", "CC;1;"}) {
    EXPECT_EQ(decoded<UnknownMessage>(payload).payload, payload);
  }
}

TEST(Decode, GivesAKnownMessageWithAnyMistakeAsUnknown) {
  for (const char* payload : {"Z;1;",
                              "Z;5;",
                              "Z;2;0;",
                              "Z;;",
                              "C;0;",
                              "C;6;",
                              "C;1;0;",
                              "C;3;",
                              "C;3;1;",
                              "C;3;0;0;",
                              "C;4;0;256;0;",
                              "C;4;1;5;0;",
                              "C;4;0;5;1;",
                              "C;4;0;5;",
                              "C;5;1;1;2;3;4;5;",
                              "C;5;0;1;2;3;4;",
                              "C;5;0;1;2;3;4;5;6;",
                              "C;5;0;-1;2;3;4;5;",
                              "C;5;0;0;2;3;4;5;",
                              "P0;87;",
                              "P0;256;1;",
                              "P1;;",
                              "P1;1;2;",
                              "P1;9223372036854775808;",
                              "PR1;0;",
                              "PR1;0a;",
                              "PR1;00;00;",
                              "PR1;G0;",
                              "B;92;1;2;3;4;5;6;7;8;",
                              "B;92;1;2;3;4;5;6;7;8;9;10;",
                              "B;-2;0;0;0;0;0;0;0;0;0;",
                              "B;256;0;0;0;0;0;0;0;0;0;",
                              "B;1;32768;0;0;0;0;0;0;0;0;",
                              "V;1;",
                              "K;NC;",
                              "K;NC;256;",
                              "K;EC;",
                              "K;EC;01;",
                              "K;XX;1;",
                              "K;MC;1;2;",
                              "K;MC;65536;0;0;",
                              "K;MC;0;256;0;",
                              "K;MC;0;0;16777216;",
                              "S;1;2;",
                              "S;1;65536;0;",
                              "S;-2;1;1;",
                              "S;256;1;1;"}) {
    EXPECT_TRUE(std::holds_alternative<UnknownMessage>(decodePayload(payload))) << payload;
  }
}

TEST(Decode, GivesALogLineItsTimeAndText) {
  const Message message = decode({LineKind::log, "", "Stop Scan", {14, 3, 7, 45}});
  ASSERT_TRUE(std::holds_alternative<LogEntry>(message));
  EXPECT_EQ(std::get<LogEntry>(message).text, "Stop Scan");
  EXPECT_EQ(std::get<LogEntry>(message).time, (LogTime{14, 3, 7, 45}));
}

TEST(Decode, GivesADamagedLineItsBytes) {
  const Message message = decode({LineKind::damaged, "half", "", {}});
  ASSERT_TRUE(std::holds_alternative<DamagedLine>(message));
  EXPECT_EQ(std::get<DamagedLine>(message).bytes, "half");
}

}  // namespace
