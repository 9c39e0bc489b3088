// The bridge's messages, its commands and its devices' families, as types and tables. Written by
// host/tables/write.py from docs/messages.json, and not by hand.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

// clang-format off
namespace vornix_host {

enum class Family { tramsel, probe, corvelta, fenwix };

// The device that has to be ready for a command: Role::ready tells that it is.
enum class Needs { nothing, corvelta, fenwix };

// "Z;{reason};": Bluetooth is unusable; the bridge ends one second later.
struct RadioUnusable {
  enum class Reason {
    poweredOff = 2,  // switched off
    unsupported = 3,  // not there, or its state is unknown
    unauthorized = 4,  // forbidden to the bridge
  };
  Reason reason = Reason::poweredOff;
};

// "C;{model};": a probe is accepted, before it is connected.
struct ProbeFound {
  enum class Model {
    ilo = 1,  // Ilo
    tenoval = 2,  // Tenoval
  };
  Model model = Model::ilo;
};

// "S;{battery};{first};{second};": each measurement; remember `C;1;` or `C;2;`, nothing else tells
// whose it is.
struct ProbeMeasurement {
  std::optional<std::uint8_t> battery;  // 0 to 255, absent: -1 not known yet, Tenoval only
  std::uint16_t first = 0;  // 0 to 65535
  std::uint16_t second = 0;  // 0 to 65535, 0 from an Ilo
};

// "C;3;0;": a Tramsel is accepted, before it is connected.
struct TramselFound {};

// "B;{battery};{v1};{v2};{v3};{v4};{v5};{v6};{v7};{v8};{v9};": each motion value.
struct TramselMotion {
  std::optional<std::uint8_t> battery;  // 0 to 255, absent: -1 not known yet
  std::array<std::int16_t, 9> values{};  // 9 of -32768 to 32767
};

// "C;4;0;{level};0;": once, after connecting: it is ready.
struct CorveltaBattery {
  std::uint8_t level = 0;  // 0 to 255
};

// "V;": the device is on mains power: after connecting, and whenever it says so.
struct CorveltaOnMains {};

// "K;NC;{value};": a new calibration value.
struct CorveltaCalibration {
  std::uint8_t value = 0;  // 0 to 255
};

// "K;EC;{code};": a calibration failed.
struct CorveltaCalibrationError {
  std::uint8_t code = 0;  // 0 to 255
};

// "K;MC;{first};{second};{third};": a contraction record; unasked too, where an acquisition was
// never stopped.
struct CorveltaContraction {
  std::uint16_t first = 0;  // 0 to 65535
  std::uint8_t second = 0;  // 0 to 255
  std::uint32_t third = 0;  // 0 to 16777215
};

// "C;5;0;{serial};{model};{firmware};{hardware};{systemId};": once: its command channel is open, it
// is ready.
struct FenwixIdentity {
  std::uint32_t serial = 0;  // 1 to 4294967295
  std::uint32_t model = 0;  // 0 to 4294967295
  std::uint32_t firmware = 0;  // 0 to 4294967295
  std::uint32_t hardware = 0;  // 0 to 4294967295
  std::uint32_t systemId = 0;  // 0 to 4294967295
};

// "P0;{level};{health};": each battery value, once both are known.
struct FenwixBattery {
  std::uint8_t level = 0;  // 0 to 255
  std::uint8_t health = 0;  // 0 to 255
};

// "P{stream};{value};": each value of an RMS stream, also before it is ready.
struct FenwixRms {
  int stream = 1;  // 1 or 2
  std::int64_t value = 0;  // -9223372036854775808 to 9223372036854775807, ten-millionths
};

// "PR{stream};{bytes};": each value of a raw stream that is on.
struct FenwixRaw {
  int stream = 1;  // 1 or 2
  std::vector<std::uint8_t> bytes;  // as the device sent them; perhaps none
};

// "PJSON;{text};": the JSON document, when all of it is there.
struct FenwixJson {
  std::string text;  // as the device sent it, 0 to 65535 characters of ASCII
};

// One of them, or of others.
template <typename... Others>
using AnyOf = std::variant<
    Others...,
    RadioUnusable, ProbeFound, ProbeMeasurement, TramselFound, TramselMotion, CorveltaBattery,
    CorveltaOnMains, CorveltaCalibration, CorveltaCalibrationError, CorveltaContraction,
    FenwixIdentity, FenwixBattery, FenwixRms, FenwixRaw, FenwixJson>;

struct Command {
  std::string_view word;
  std::string_view log;  // what the bridge logs when it begins the command
  Needs needs = Needs::nothing;
  std::uint32_t most = 0;      // of the second argument; 0: there are no arguments
  std::string_view stop = {};  // of what this one starts
  bool isNotDuringDocument = false;  // not between a question for the document and its answer
};

struct FamilyInfo {
  Family family;
  std::string_view name;
  Needs needs = Needs::nothing;  // what its commands need
};

// What should go on once it has begun, and the command that stops it: empty where it comes unasked.
struct Stream {
  std::string_view name;
  std::string_view stop;
};

// found and ready come once from a device, and tell that it was accepted, or takes commands.
enum class Role { none, found, ready, stream, end };

// What is known of a message by its type. `streams` and `tables` have one entry, or one for each
// value of the message's `stream`, or none. `visit` shows a visitor all of the payload in order, as
// long as it says true: the constant texts by is(), the fields by field() with their names.
template <typename Kind>
struct Form;

template <>
struct Form<RadioUnusable> {
  static constexpr std::string_view name = "RadioUnusable";
  static constexpr Role role = Role::end;
  static constexpr std::optional<Family> family = std::nullopt;
  static constexpr std::array<Stream, 0> streams{{}};
  static constexpr std::array<std::string_view, 0> tables{{}};
  static constexpr bool isPlotted = false;
  static constexpr bool arePoints = false;
  template <typename Visitor, typename Kind>
  static constexpr bool visit(Visitor& visitor, Kind& it) {
    return visitor.is("Z;") &&
           visitor.field("reason", it.reason, 2, 4) &&
           visitor.is(";");
  }
};

template <>
struct Form<ProbeFound> {
  static constexpr std::string_view name = "ProbeFound";
  static constexpr Role role = Role::found;
  static constexpr std::optional<Family> family = Family::probe;
  static constexpr std::array<Stream, 0> streams{{}};
  static constexpr std::array<std::string_view, 0> tables{{}};
  static constexpr bool isPlotted = false;
  static constexpr bool arePoints = false;
  template <typename Visitor, typename Kind>
  static constexpr bool visit(Visitor& visitor, Kind& it) {
    return visitor.is("C;") &&
           visitor.field("model", it.model, 1, 2) &&
           visitor.is(";");
  }
};

template <>
struct Form<ProbeMeasurement> {
  static constexpr std::string_view name = "ProbeMeasurement";
  static constexpr Role role = Role::stream;
  static constexpr std::optional<Family> family = Family::probe;
  static constexpr std::array<Stream, 1> streams{{{"measurement", ""}}};
  static constexpr std::array<std::string_view, 1> tables{{"probe"}};
  static constexpr bool isPlotted = true;
  static constexpr bool arePoints = false;
  template <typename Visitor, typename Kind>
  static constexpr bool visit(Visitor& visitor, Kind& it) {
    return visitor.is("S;") &&
           visitor.field("battery", it.battery, -1, 255) &&
           visitor.is(";") &&
           visitor.field("first", it.first, 0, 65535) &&
           visitor.is(";") &&
           visitor.field("second", it.second, 0, 65535) &&
           visitor.is(";");
  }
};

template <>
struct Form<TramselFound> {
  static constexpr std::string_view name = "TramselFound";
  static constexpr Role role = Role::found;
  static constexpr std::optional<Family> family = Family::tramsel;
  static constexpr std::array<Stream, 0> streams{{}};
  static constexpr std::array<std::string_view, 0> tables{{}};
  static constexpr bool isPlotted = false;
  static constexpr bool arePoints = false;
  template <typename Visitor, typename Kind>
  static constexpr bool visit(Visitor& visitor, Kind& /*it*/) {
    return visitor.is("C;3;0;");
  }
};

template <>
struct Form<TramselMotion> {
  static constexpr std::string_view name = "TramselMotion";
  static constexpr Role role = Role::stream;
  static constexpr std::optional<Family> family = Family::tramsel;
  static constexpr std::array<Stream, 1> streams{{{"motion", ""}}};
  static constexpr std::array<std::string_view, 1> tables{{"motion"}};
  static constexpr bool isPlotted = true;
  static constexpr bool arePoints = false;
  template <typename Visitor, typename Kind>
  static constexpr bool visit(Visitor& visitor, Kind& it) {
    return visitor.is("B;") &&
           visitor.field("battery", it.battery, -1, 255) &&
           visitor.is(";") &&
           visitor.field("v1", it.values[0], -32768, 32767) &&
           visitor.is(";") &&
           visitor.field("v2", it.values[1], -32768, 32767) &&
           visitor.is(";") &&
           visitor.field("v3", it.values[2], -32768, 32767) &&
           visitor.is(";") &&
           visitor.field("v4", it.values[3], -32768, 32767) &&
           visitor.is(";") &&
           visitor.field("v5", it.values[4], -32768, 32767) &&
           visitor.is(";") &&
           visitor.field("v6", it.values[5], -32768, 32767) &&
           visitor.is(";") &&
           visitor.field("v7", it.values[6], -32768, 32767) &&
           visitor.is(";") &&
           visitor.field("v8", it.values[7], -32768, 32767) &&
           visitor.is(";") &&
           visitor.field("v9", it.values[8], -32768, 32767) &&
           visitor.is(";");
  }
};

template <>
struct Form<CorveltaBattery> {
  static constexpr std::string_view name = "CorveltaBattery";
  static constexpr Role role = Role::ready;
  static constexpr std::optional<Family> family = Family::corvelta;
  static constexpr std::array<Stream, 0> streams{{}};
  static constexpr std::array<std::string_view, 1> tables{{"corvelta_battery"}};
  static constexpr bool isPlotted = false;
  static constexpr bool arePoints = false;
  template <typename Visitor, typename Kind>
  static constexpr bool visit(Visitor& visitor, Kind& it) {
    return visitor.is("C;4;0;") &&
           visitor.field("level", it.level, 0, 255) &&
           visitor.is(";0;");
  }
};

template <>
struct Form<CorveltaOnMains> {
  static constexpr std::string_view name = "CorveltaOnMains";
  static constexpr Role role = Role::none;
  static constexpr std::optional<Family> family = Family::corvelta;
  static constexpr std::array<Stream, 0> streams{{}};
  static constexpr std::array<std::string_view, 0> tables{{}};
  static constexpr bool isPlotted = false;
  static constexpr bool arePoints = false;
  template <typename Visitor, typename Kind>
  static constexpr bool visit(Visitor& visitor, Kind& /*it*/) {
    return visitor.is("V;");
  }
};

template <>
struct Form<CorveltaCalibration> {
  static constexpr std::string_view name = "CorveltaCalibration";
  static constexpr Role role = Role::none;
  static constexpr std::optional<Family> family = Family::corvelta;
  static constexpr std::array<Stream, 0> streams{{}};
  static constexpr std::array<std::string_view, 1> tables{{"calibration"}};
  static constexpr bool isPlotted = true;
  static constexpr bool arePoints = true;
  template <typename Visitor, typename Kind>
  static constexpr bool visit(Visitor& visitor, Kind& it) {
    return visitor.is("K;NC;") &&
           visitor.field("value", it.value, 0, 255) &&
           visitor.is(";");
  }
};

template <>
struct Form<CorveltaCalibrationError> {
  static constexpr std::string_view name = "CorveltaCalibrationError";
  static constexpr Role role = Role::none;
  static constexpr std::optional<Family> family = Family::corvelta;
  static constexpr std::array<Stream, 0> streams{{}};
  static constexpr std::array<std::string_view, 1> tables{{"calibration_error"}};
  static constexpr bool isPlotted = true;
  static constexpr bool arePoints = true;
  template <typename Visitor, typename Kind>
  static constexpr bool visit(Visitor& visitor, Kind& it) {
    return visitor.is("K;EC;") &&
           visitor.field("code", it.code, 0, 255) &&
           visitor.is(";");
  }
};

template <>
struct Form<CorveltaContraction> {
  static constexpr std::string_view name = "CorveltaContraction";
  static constexpr Role role = Role::none;
  static constexpr std::optional<Family> family = Family::corvelta;
  static constexpr std::array<Stream, 0> streams{{}};
  static constexpr std::array<std::string_view, 1> tables{{"contraction"}};
  static constexpr bool isPlotted = true;
  static constexpr bool arePoints = false;
  template <typename Visitor, typename Kind>
  static constexpr bool visit(Visitor& visitor, Kind& it) {
    return visitor.is("K;MC;") &&
           visitor.field("first", it.first, 0, 65535) &&
           visitor.is(";") &&
           visitor.field("second", it.second, 0, 255) &&
           visitor.is(";") &&
           visitor.field("third", it.third, 0, 16777215) &&
           visitor.is(";");
  }
};

template <>
struct Form<FenwixIdentity> {
  static constexpr std::string_view name = "FenwixIdentity";
  static constexpr Role role = Role::ready;
  static constexpr std::optional<Family> family = Family::fenwix;
  static constexpr std::array<Stream, 0> streams{{}};
  static constexpr std::array<std::string_view, 1> tables{{"fenwix"}};
  static constexpr bool isPlotted = false;
  static constexpr bool arePoints = false;
  template <typename Visitor, typename Kind>
  static constexpr bool visit(Visitor& visitor, Kind& it) {
    return visitor.is("C;5;0;") &&
           visitor.field("serial", it.serial, 1, 4294967295) &&
           visitor.is(";") &&
           visitor.field("model", it.model, 0, 4294967295) &&
           visitor.is(";") &&
           visitor.field("firmware", it.firmware, 0, 4294967295) &&
           visitor.is(";") &&
           visitor.field("hardware", it.hardware, 0, 4294967295) &&
           visitor.is(";") &&
           visitor.field("systemId", it.systemId, 0, 4294967295) &&
           visitor.is(";");
  }
};

template <>
struct Form<FenwixBattery> {
  static constexpr std::string_view name = "FenwixBattery";
  static constexpr Role role = Role::none;
  static constexpr std::optional<Family> family = Family::fenwix;
  static constexpr std::array<Stream, 0> streams{{}};
  static constexpr std::array<std::string_view, 1> tables{{"fenwix_battery"}};
  static constexpr bool isPlotted = false;
  static constexpr bool arePoints = false;
  template <typename Visitor, typename Kind>
  static constexpr bool visit(Visitor& visitor, Kind& it) {
    return visitor.is("P0;") &&
           visitor.field("level", it.level, 0, 255) &&
           visitor.is(";") &&
           visitor.field("health", it.health, 0, 255) &&
           visitor.is(";");
  }
};

template <>
struct Form<FenwixRms> {
  static constexpr std::string_view name = "FenwixRms";
  static constexpr Role role = Role::stream;
  static constexpr std::optional<Family> family = Family::fenwix;
  static constexpr std::array<Stream, 2> streams{{{"rms 1", ""}, {"rms 2", ""}}};
  static constexpr std::array<std::string_view, 2> tables{{"rms1", "rms2"}};
  static constexpr bool isPlotted = true;
  static constexpr bool arePoints = false;
  template <typename Visitor, typename Kind>
  static constexpr bool visit(Visitor& visitor, Kind& it) {
    return visitor.is("P") &&
           visitor.field("stream", it.stream, 1, 2) &&
           visitor.is(";") &&
           visitor.field("value", it.value, std::numeric_limits<std::int64_t>::min(), 9223372036854775807) &&
           visitor.is(";");
  }
};

template <>
struct Form<FenwixRaw> {
  static constexpr std::string_view name = "FenwixRaw";
  static constexpr Role role = Role::stream;
  static constexpr std::optional<Family> family = Family::fenwix;
  static constexpr std::array<Stream, 2> streams{{{"raw 1", "FX_stopRaw"}, {"raw 2", "FX_stopRaw2"}}};
  static constexpr std::array<std::string_view, 2> tables{{"raw1", "raw2"}};
  static constexpr bool isPlotted = true;
  static constexpr bool arePoints = false;
  template <typename Visitor, typename Kind>
  static constexpr bool visit(Visitor& visitor, Kind& it) {
    return visitor.is("PR") &&
           visitor.field("stream", it.stream, 1, 2) &&
           visitor.is(";") &&
           visitor.field("bytes", it.bytes) &&
           visitor.is(";");
  }
};

template <>
struct Form<FenwixJson> {
  static constexpr std::string_view name = "FenwixJson";
  static constexpr Role role = Role::none;
  static constexpr std::optional<Family> family = Family::fenwix;
  static constexpr std::array<Stream, 0> streams{{}};
  static constexpr std::array<std::string_view, 1> tables{{"json"}};
  static constexpr bool isPlotted = false;
  static constexpr bool arePoints = false;
  template <typename Visitor, typename Kind>
  static constexpr bool visit(Visitor& visitor, Kind& it) {
    return visitor.is("PJSON;") &&
           visitor.field("text", it.text) &&
           visitor.is(";");
  }
};

// The entry of a message's streams or tables that is this one's.
template <typename Kind, typename Entries>
constexpr auto entryOf(const Kind& message, const Entries& entries) {
  if constexpr (requires { message.stream; }) {
    return entries.at(static_cast<std::size_t>(message.stream) - 1);
  } else {
    return entries.at(0);
  }
}

template <typename Kind>
constexpr Stream streamOf(const Kind& message) {
  return entryOf(message, Form<Kind>::streams);
}

template <typename Kind>
constexpr std::string_view tableOf(const Kind& message) {
  return entryOf(message, Form<Kind>::tables);
}

// The tables whose rows are of use as curves, or as points.
inline constexpr std::array<std::string_view, 9> plots{{
    "probe",
    "motion",
    "calibration",
    "calibration_error",
    "contraction",
    "rms1",
    "rms2",
    "raw1",
    "raw2",
}};

// The place among the plots that a message's values have.
template <typename Kind>
constexpr std::size_t plotOf(const Kind& message) {
  static_assert(Form<Kind>::isPlotted);
  std::size_t place = 0;
  while (plots.at(place) != Form<Kind>::tables.front()) ++place;
  if constexpr (requires { message.stream; }) {
    place += static_cast<std::size_t>(message.stream) - 1;
  }
  return place;
}

inline constexpr std::array<Command, 12> commands{{
    {"CV_debutCalib", "cde : start CV calibration", Needs::corvelta, 0, "CV_finCalib", false},
    {"CV_finCalib", "cde : stop CV calibration", Needs::corvelta, 0, "", false},
    {"CV_debutAcquisition", "cde : start CV acquisition", Needs::corvelta, 0, "CV_finAcquisition", false},
    {"CV_finAcquisition", "cde : stop CV acquistion", Needs::corvelta, 0, "", false},
    {"FX_startRaw", "cde : start raw", Needs::fenwix, 0, "FX_stopRaw", false},
    {"FX_stopRaw", "cde : stop raw", Needs::fenwix, 0, "", false},
    {"FX_startRaw2", "cde : start raw 2", Needs::fenwix, 0, "FX_stopRaw2", false},
    {"FX_stopRaw2", "cde : stop raw 2", Needs::fenwix, 0, "", false},
    {"FX_getJson", "cde : get json", Needs::fenwix, 0, "", true},
    {"FX_cmdWriteInt", "cde : Fenwix Cmd Write Int", Needs::fenwix, 4294967295, "", true},
    {"FX_cmdWriteByte", "cde : Fenwix Cmd Write Byte", Needs::fenwix, 255, "", true},
    {"kill", "cde : kill", Needs::nothing, 0, "", false},
}};

inline constexpr std::array<FamilyInfo, 4> families{{
    {Family::tramsel, "tramsel", Needs::nothing},
    {Family::probe, "probe", Needs::nothing},
    {Family::corvelta, "corvelta", Needs::corvelta},
    {Family::fenwix, "fenwix", Needs::fenwix},
}};

// What a device's name begins with, here in lower case; a name may have any.
inline constexpr std::array<std::pair<std::string_view, Family>, 9> beginnings{{
    {"tramsel", Family::tramsel},
    {"dorvane", Family::tramsel},
    {"ilo", Family::probe},
    {"tenoval", Family::probe},
    {"pelko", Family::probe},
    {"pelk0", Family::probe},
    {"kvaltrin", Family::probe},
    {"tarvix", Family::corvelta},
    {"nomsuel", Family::fenwix},
}};

}  // namespace vornix_host
