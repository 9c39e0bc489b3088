// A precondition that does not hold stops the bridge at once: it ends by a signal, with a whole
// last line and nothing on standard error.
#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

#include "Scenario.h"

namespace process_test {
namespace {

struct BadValue {
  std::string name;
  Words device;
  std::string_view characteristic;
  Words words;
  std::string lastLine;  // the last line that the bridge writes

  friend void PrintTo(const BadValue& value, std::ostream* out) { *out << value.name; }
};

class HardStopByValue : public testing::TestWithParam<BadValue> {};

TEST_P(HardStopByValue, EndsByASignalAndSaysNothing) {
  const BadValue& bad = GetParam();
  Bridge bridge(with(bad.device, bad.characteristic, bad.words));
  expectHardStop(bridge);
  EXPECT_EQ(transcript(bridge).back(), bad.lastLine);
}

std::string zeros(std::size_t bytes) {
  return std::string(2 * bytes, '0');
}

const auto nameOf = [](const auto& test) { return test.param.name; };

const std::string toTramsel = "@Connexion a Tramsel-12";

INSTANTIATE_TEST_SUITE_P(
    Tramsel, HardStopByValue,
    testing::Values(
        BadValue{"MotionOf17Bytes", tramsel(), id::motion, {"send=" + zeros(17)}, toTramsel},
        BadValue{"MotionOfNoBytes", tramsel(), id::motion, {"send="}, toTramsel},
        BadValue{"MotionShortAfterAGoodOne",
                 tramsel(),
                 id::motion,
                 {"send=" + zeros(18), "send=" + zeros(17)},
                 "<B;92;0;0;0;0;0;0;0;0;0;"},
        BadValue{"EmptyBattery", tramsel(), id::battery, {"value="}, toTramsel},
        BadValue{"EmptyBatteryNotified", tramsel(), id::battery, {"send="}, toTramsel},
        BadValue{"RefusedBattery", tramsel(), id::battery, {"refuse-read"}, toTramsel}),
    nameOf);

const std::string toIlo = "@Connexion a ILO-1234";
const std::string toTenoval = "@Connexion a Tenoval-7";

INSTANTIATE_TEST_SUITE_P(
    Probe, HardStopByValue,
    testing::Values(
        BadValue{"IloRecordOf12Bytes", ilo(), id::ilo, {"send=" + zeros(12)}, toIlo},
        BadValue{"IloRecordOfNoBytes", ilo(), id::ilo, {"send="}, toIlo},
        BadValue{"TenovalRecordOf3Bytes", tenoval(), id::tenoval, {"send=123400"}, toTenoval},
        BadValue{"TenovalRecordOf1Byte", tenoval(), id::tenoval, {"send=12"}, toTenoval},
        BadValue{"TenovalEmptyBattery", tenoval(), id::battery, {"value="}, toTenoval},
        BadValue{"TenovalRefusedBattery", tenoval(), id::battery, {"refuse-read"}, toTenoval}),
    nameOf);

const std::string toCorvelta = "@Connexion a Tarvix-3";
const std::string corveltaFirmware = "@version FW du CorVelta : 1.2.3";

INSTANTIATE_TEST_SUITE_P(
    Corvelta, HardStopByValue,
    testing::Values(
        BadValue{"RefusedFirmware", corvelta(), id::corveltaFirmware, {"refuse-read"}, toCorvelta},
        BadValue{"EmptyMains", corvelta(), id::mains, {"value="}, corveltaFirmware},
        BadValue{"RefusedMains", corvelta(), id::mains, {"refuse-read"}, corveltaFirmware},
        BadValue{"EmptyBattery", corvelta(), id::battery, {"value="}, "<V;"},
        BadValue{"RefusedBattery", corvelta(), id::battery, {"refuse-read"}, "<V;"},
        BadValue{"EmptyCalibration", corvelta(), id::newCalibration, {"send="}, "<V;"},
        BadValue{"EmptyCalibrationError", corvelta(), id::calibrationError, {"send="}, "<V;"},
        BadValue{"ContractionOf5Bytes", corvelta(), id::contractions, {"send=0102030405"}, "<V;"},
        BadValue{"ContractionOfNoBytes", corvelta(), id::contractions, {"send="}, "<V;"}),
    nameOf);

BadValue fenwixValue(const std::string& name, std::string_view characteristic, const Words& words,
                     const std::string& lastLine) {
  return {name, fenwix(), characteristic, words, lastLine};
}

const std::string toFenwix = "@Connexion a Nomsuel-9";
const std::string fenwixBattery = "<P0;87;1;";
const std::string identified = "<C;5;0;120034;2;260;3;7;";

INSTANTIATE_TEST_SUITE_P(
    FenwixStream, HardStopByValue,
    testing::Values(fenwixValue("RmsOf3Bytes", id::rms, {"send=000080"}, toFenwix),
                    fenwixValue("RmsOfNoBytes", id::rms, {"send="}, toFenwix),
                    fenwixValue("RmsNotANumber", id::rms, {"send=0000C07F"}, toFenwix),
                    fenwixValue("RmsInfinite", id::rms, {"send=0000807F"}, toFenwix),
                    fenwixValue("RmsNegativeInfinite", id::rms, {"send=000080FF"}, toFenwix),
                    fenwixValue("RmsTooLarge", id::rms, {"send=A5D46853"}, toFenwix),
                    fenwixValue("RmsTooSmall", id::rms, {"send=A5D468D3"}, toFenwix),
                    fenwixValue("Rms2Of3Bytes", id::rms2, {"send=000080"}, toFenwix),
                    fenwixValue("Rms2NotANumber", id::rms2, {"send=0000C07F"}, toFenwix),
                    fenwixValue("EmptyBattery", id::battery, {"value="}, toFenwix),
                    fenwixValue("RefusedBattery", id::battery, {"refuse-read"}, toFenwix),
                    fenwixValue("EmptyHealth", id::batteryHealth, {"value="}, toFenwix),
                    fenwixValue("RefusedHealth", id::batteryHealth, {"refuse-read"}, toFenwix)),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    FenwixIdentity, HardStopByValue,
    testing::Values(fenwixValue("ModelOf3Bytes", id::model, {"value=010203"}, fenwixBattery),
                    fenwixValue("ModelRefused", id::model, {"refuse-read"}, fenwixBattery),
                    fenwixValue("FirmwareOf3Bytes", id::firmware, {"value=010203"}, fenwixBattery),
                    fenwixValue("FirmwareRefused", id::firmware, {"refuse-read"}, fenwixBattery),
                    fenwixValue("HardwareOf3Bytes", id::hardware, {"value=010203"}, fenwixBattery),
                    fenwixValue("HardwareRefused", id::hardware, {"refuse-read"}, fenwixBattery),
                    fenwixValue("SerialOf3Bytes", id::serial, {"value=000000"}, fenwixBattery),
                    fenwixValue("SerialRefused", id::serial, {"refuse-read"}, fenwixBattery),
                    fenwixValue("SystemIdOfNoBytes", id::systemId, {"value="}, fenwixBattery),
                    fenwixValue("SystemIdRefused", id::systemId, {"refuse-read"}, fenwixBattery)),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    FenwixReply, HardStopByValue,
    testing::Values(
        fenwixValue("EmptyWhileIdle", id::command, {"send="}, identified),
        fenwixValue("HeaderOf1Byte", id::command, {"send=AA"}, identified),
        fenwixValue("HeaderOf2Bytes", id::command, {"send=AA13"}, identified),
        fenwixValue("HeaderOf3Bytes", id::command, {"send=AA1303"}, identified),
        fenwixValue("PayloadWhereNoneIsAnnounced", id::command, {"send=AA05000055"}, identified),
        fenwixValue("InvalidUtf8", id::command, {"send=AA130100FF"}, identified),
        fenwixValue("Utf8CutOff", id::command, {"send=AA130200", "send=5BC3"}, identified),
        fenwixValue("TextNotAscii", id::command, {"send=AA130200C3A9"}, identified),
        fenwixValue("TextNotAsciiAfterAGoodOne", id::command,
                    {"send=AA1303005B315D", "send=AA130200C3A9"}, "<PJSON;[1];")),
    nameOf);

// Two command channels give two confirmations: six events, although one number never came.
TEST(HardStop, OfAFenwixWithSixEventsThatLacksANumber) {
  Words device = fenwix();
  const auto missing =
      std::find(device.begin(), device.end(), "characteristic=" + std::string(id::systemId));
  device.erase(missing, missing + 2);
  Bridge bridge(device + Words{"service=98AC", "characteristic=3A93"});
  expectHardStop(bridge);
  const std::string confirmed = "@didUpdateNotificationStateFor 3A93 : ok";
  const std::vector<std::string> lines = transcript(bridge);
  EXPECT_EQ(lines.back(), confirmed);
  EXPECT_EQ(std::count(lines.begin(), lines.end(), confirmed), 2);
}

TEST(HardStop, OfAFailedServiceDiscoveryOfADeviceWithoutAName) {
  for (const Words& device : {tramsel(), ilo(), tenoval(), corvelta(), fenwix()}) {
    Bridge bridge(withOwn(device, {"refuse-services", "forget-name"}));
    expectHardStop(bridge);
    EXPECT_EQ(transcript(bridge).back(),
              "@Connexion a " + device.front().substr(std::string("device=").size()));
  }
}

}  // namespace
}  // namespace process_test
