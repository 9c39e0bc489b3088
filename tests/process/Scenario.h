// What the process tests share: devices written in the words of Script.h, and a bridge that runs
// with them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "support/BridgeProcess.h"

namespace process_test {

using Words = std::vector<std::string>;

Words operator+(Words first, const Words& second);

// GATT identifiers of the devices.
namespace id {
inline constexpr std::string_view battery = "2A19";
inline constexpr std::string_view batteryHealth = "2BEB";
inline constexpr std::string_view motion = "EF680408-9B35-4933-9B10-52FFA9740042";
inline constexpr std::string_view ilo = "23bcdd50-00ac-446d-92b9-07ab6e436ad8";
inline constexpr std::string_view tenoval = "AA41";
inline constexpr std::string_view corveltaFirmware = "36410ec0-a40f-49af-aa74-27b875ba8751";
inline constexpr std::string_view mains = "d35386e6-0b1e-453b-963e-9e1f2b527fe7";
inline constexpr std::string_view calibration = "0860ac22-b172-468e-9755-03a53f3c7e40";
inline constexpr std::string_view newCalibration = "fe5eb478-cc3b-4ef0-b33c-b674b32e0c41";
inline constexpr std::string_view calibrationError = "60583850-163a-4c00-a0dc-2dfdd223a716";
inline constexpr std::string_view acquisition = "5b4153a2-3f1c-4dc4-872e-e43265446878";
inline constexpr std::string_view contractions = "5d63afc1-16d0-4c47-bdb8-39de23daf30a";
inline constexpr std::string_view rms = "3A89";
inline constexpr std::string_view rms2 = "3A90";
inline constexpr std::string_view raw = "3A87";
inline constexpr std::string_view raw2 = "3A88";
inline constexpr std::string_view command = "3A93";
inline constexpr std::string_view model = "2A24";
inline constexpr std::string_view serial = "2A25";
inline constexpr std::string_view hardware = "2A27";
inline constexpr std::string_view firmware = "2A28";
inline constexpr std::string_view systemId = "2A23";
}  // namespace id

// One complete device per kind; none streams by itself.
Words tramsel();
Words ilo();
Words tenoval();
Words corvelta();  // echoes writes as calibration values and calibration errors
Words fenwix();    // echoes writes on its raw stream 1

// The device with more words about one of its characteristics, which has to exist, or about itself.
Words with(Words device, std::string_view characteristic, const Words& more);
Words withOwn(Words device, const Words& more);

class Bridge : public support::BridgeProcess {
 public:
  explicit Bridge(const Words& air, support::ProcessOptions options = {});
};

// The lines in the form in which they are compared: "@" and the text of a log line, "<" and the
// payload of a host message, "!" and the bytes of a damaged line.
std::vector<std::string> transcript(const support::BridgeProcess& bridge);

inline const std::string banner = "@Demarrage de Vornix 1.04";
inline const std::string poweredOn = "@manager state update : poweredOn";

// Waits for the line (in the form of transcript()); a failure lists the lines that came instead.
void expectLine(support::BridgeProcess& bridge, const std::string& line);

// Waits for the end; expects status 0, nothing on standard error, and no damaged line.
void expectQuietEnd(support::BridgeProcess& bridge);

// The same with SIGABRT in place of status 0.
void expectHardStop(support::BridgeProcess& bridge);

}  // namespace process_test
