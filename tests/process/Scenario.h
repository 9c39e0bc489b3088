// What the process tests have in common: devices written in the words of Script.h, and a bridge
// that runs among them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "support/BridgeProcess.h"

namespace process_test {

using Words = std::vector<std::string>;

Words operator+(Words first, const Words& second);

// Identifiers as the devices have them.
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

// A device of each family, complete, that streams nothing by itself.
Words tramsel();
Words ilo();
Words tenoval();
Words corvelta();  // tells what is written to it by its calibration value and its error code
Words fenwix();    // tells what is written to it by its raw stream 1

// The device with more words about one of its characteristics, which it has, or about itself.
Words with(Words device, std::string_view characteristic, const Words& more);
Words withOwn(Words device, const Words& more);

class Bridge : public support::BridgeProcess {
 public:
  explicit Bridge(const Words& air, support::ProcessOptions options = {});
};

// The lines as they are compared: "@" and the text of a log line, "<" and the payload of a host
// message, "!" and the bytes of a damaged one.
std::vector<std::string> transcript(const support::BridgeProcess& bridge);

inline const std::string banner = "@Demarrage de Vornix 1.04";
inline const std::string poweredOn = "@manager state update : poweredOn";

// Waits for the line (as it stands in a transcript); a failure names what came in its place.
void expectLine(support::BridgeProcess& bridge, const std::string& line);

// Waits for the end and expects status 0 and a standard error that is empty, no line damaged.
void expectQuietEnd(support::BridgeProcess& bridge);

// The same with SIGABRT in place of the status.
void expectHardStop(support::BridgeProcess& bridge);

}  // namespace process_test
