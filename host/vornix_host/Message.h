// What the lines of the bridge's output mean: one type per kind of line. All are plain values that
// may be kept; only those with a text or bytes of any length hold memory of their own.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "Line.h"

namespace vornix_host {

// A line for people. The text is as Line::text has it.
struct LogEntry {
  LogTime time;
  std::string text;
};

// "Z;": Bluetooth cannot be used; the bridge ends one second later. The values are those sent.
struct RadioUnusable {
  enum class Reason { poweredOff = 2, unsupported = 3, unauthorized = 4 };
  Reason reason = Reason::unsupported;  // unsupported stands for an unknown state as well
};

// "C;1;" and "C;2;": a probe was found and is being connected. The values are those sent.
struct ProbeFound {
  enum class Model { ilo = 1, tenoval = 2 };
  Model model = Model::ilo;
};

// "C;3;0;": a Tramsel was found and is being connected.
struct TramselFound {};

// "C;4;0;" level ";0;": the Corvelta's battery, read once after it was connected.
struct CorveltaBattery {
  std::uint8_t level = 0;  // as the device sends it: percent
};

// "C;5;0;": the Fenwix has told its five numbers and takes commands.
struct FenwixIdentity {
  std::uint32_t serial = 0;  // never 0: that ends the bridge
  std::uint32_t model = 0;
  std::uint32_t firmware = 0;
  std::uint32_t hardware = 0;
  std::uint32_t systemId = 0;
};

// "P0;": sent once both are known, then at each change of either.
struct FenwixBattery {
  std::uint8_t level = 0;
  std::uint8_t health = 0;
};

// "P1;" and "P2;".
struct FenwixRms {
  int stream = 1;          // 1 or 2
  std::int64_t value = 0;  // the device's number times 10,000,000, truncated toward zero
};

// "PR1;" and "PR2;".
struct FenwixRaw {
  int stream = 1;                   // 1 or 2
  std::vector<std::uint8_t> bytes;  // one notification, as the device sent it; perhaps empty
};

// "PJSON;": the answer to "FX_getJson".
struct FenwixJson {
  std::string text;  // as the device sent it, 0 to 65,535 ASCII characters
};

// "B;".
struct TramselMotion {
  std::optional<std::uint8_t> battery;  // absent until known (sent as -1)
  std::array<std::int16_t, 9> values{};
};

// "V;": the Corvelta runs on mains. Nothing is sent when it ceases to.
struct CorveltaOnMains {};

// "K;NC;": a new calibration.
struct CorveltaCalibration {
  std::uint8_t value = 0;
};

// "K;EC;": a calibration failed.
struct CorveltaCalibrationError {
  std::uint8_t code = 0;
};

// "K;MC;": a contraction, its numbers in the order in which they are sent.
struct CorveltaContraction {
  std::uint16_t first = 0;
  std::uint8_t second = 0;
  std::uint32_t third = 0;  // 24 bits
};

// "S;".
struct ProbeMeasurement {
  std::optional<std::uint8_t> battery;  // absent until known (sent as -1)
  std::uint16_t first = 0;
  std::uint16_t second = 0;  // always 0 from an Ilo
};

// A whole host message, its checksum right, that is none of the above.
struct UnknownMessage {
  std::string payload;
};

struct DamagedLine {
  std::string bytes;
  bool mayBeDocument = false;  // as Line has it
};

using Message =
    std::variant<LogEntry, RadioUnusable, ProbeFound, TramselFound, CorveltaBattery, FenwixIdentity,
                 FenwixBattery, FenwixRms, FenwixRaw, FenwixJson, TramselMotion, CorveltaOnMains,
                 CorveltaCalibration, CorveltaCalibrationError, CorveltaContraction,
                 ProbeMeasurement, UnknownMessage, DamagedLine>;

}  // namespace vornix_host
