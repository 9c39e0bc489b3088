#include "scope/watch/State.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <utility>
#include <variant>

#include "scope/Ending.h"
#include "scope/watch/Commands.h"
#include "scope/watch/Json.h"

namespace scope {
namespace {

namespace host = vornix_host;

enum Stream : std::size_t {
  motion,
  probe,
  rms1,
  rms2,
  raw1,
  raw2,
  contraction,
  calibration,
  error
};

constexpr std::array<std::string_view, 9> kStreamNames{
    "motion", "probe", "rms1", "rms2", "raw1", "raw2", "contraction", "calibration", "error"};
constexpr std::array<std::string_view, kFamilies> kFamilyNames{"tramsel", "probe", "corvelta",
                                                               "fenwix"};

// What a device's name begins with, in any case.
constexpr std::array<std::pair<std::string_view, Family>, 9> kNames{{
    {"ilo", Family::probe},
    {"pelko", Family::probe},
    {"pelk0", Family::probe},
    {"tenoval", Family::probe},
    {"kvaltrin", Family::probe},
    {"tramsel", Family::tramsel},
    {"dorvane", Family::tramsel},
    {"tarvix", Family::corvelta},
    {"nomsuel", Family::fenwix},
}};

std::optional<Family> familyOf(std::string_view name) {
  for (const auto& [prefix, family] : kNames) {
    const bool isIt = name.size() >= prefix.size() &&
                      std::ranges::equal(prefix, name.substr(0, prefix.size()), {}, {}, [](char c) {
                        return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
                      });
    if (isIt) return family;
  }
  return std::nullopt;
}

// What follows the words that a text begins with.
std::optional<std::string_view> behind(std::string_view text, std::string_view words) {
  if (!text.starts_with(words)) return std::nullopt;
  return text.substr(words.size());
}

std::uint64_t numberIn(std::string_view text) {
  std::uint64_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

}  // namespace

void State::add(Time time, const host::Message& message) {
  now_ = time;
  ++lines_;
  stalled_.reset();
  std::visit([this](const auto& what) { did(what); }, message);
}

void State::add(const Piece& piece) {
  now_ = piece.time;
  ++changes_;
  switch (piece.kind) {
    case Kind::inputEnd:
      isInputClosed_ = true;
      break;
    case Kind::missed:
      missed_ += numberIn(piece.bytes);
      break;
    case Kind::stalled:
      stalled_ = numberIn(piece.bytes);
      break;
    case Kind::end:
      ending_ = toEnding(piece.bytes).value_or(Ending{});
      endedAt_ = piece.time;
      break;
    case Kind::input:
    case Kind::command:
      lastCommand_ = piece.bytes.substr(0, piece.bytes.find_first_of("\r\n"));
      break;
    case Kind::session:
    case Kind::output:
      break;
  }
}

bool State::isSafe(std::string_view command) const {
  const std::optional<Needs> needs = needsOf(command);
  if (!needs || ending_ || isInputClosed_) return false;
  switch (*needs) {
    case Needs::nothing:
      return true;
    case Needs::corvelta:
      return device(Family::corvelta).isReady;
    case Needs::fenwix:
      return device(Family::fenwix).isReady;
  }
  return false;
}

void State::count(std::size_t stream) {
  ++streams_[stream].count;
  streams_[stream].last = now_;
}

void State::did(const host::LogEntry& entry) {
  const std::string_view text = entry.text;
  ++changes_;
  if (const auto version = behind(text, "Demarrage de Vornix ")) {
    version_ = *version;
  } else if (const auto radio = behind(text, "manager state update : ")) {
    radio_ = *radio;
    isScanning_ = radio_ == "poweredOn";
  } else if (text == "Stop Scan") {
    isScanning_ = false;
  } else if (const auto name = behind(text, "Connexion a ")) {
    didConnect(*name);
  } else if (const auto firmware = behind(text, "version FW du CorVelta : ")) {
    at(Family::corvelta).firmware = *firmware;
  } else if (const auto mains = behind(text, "Corvelta en charge : ")) {
    at(Family::corvelta).isOnMains = *mains != "0";
  } else if (const auto channel = behind(text, "didUpdateNotificationStateFor 3A93 : ")) {
    at(Family::fenwix).isCommandOpen = *channel == "ok";
    at(Family::fenwix).commandRefusal = *channel == "ok" ? "" : *channel;
  } else if (const auto failure = behind(text, "erreur de lecture des services ")) {
    const std::size_t before = failure->rfind(" de ");
    const bool isNamed = before != std::string_view::npos;
    const auto family = familyOf(isNamed ? failure->substr(before + 4) : std::string_view());
    if (family) at(*family).hasFailed = true;
  } else if (text == "Erreur à l'init du Fenwix") {
    hasSerialZero_ = true;
  }
}

void State::didConnect(std::string_view name) {
  const std::optional<Family> family = familyOf(name);
  if (!family) return;
  DeviceState& device = at(*family);
  device.isFound = true;
  device.name = name;
}

void State::did(const host::RadioUnusable& radio) {
  ++changes_;
  unusable_ = static_cast<int>(radio.reason);
}

void State::did(const host::ProbeFound& probe) {
  ++changes_;
  at(Family::probe).isFound = true;
  at(Family::probe).model = probe.model == host::ProbeFound::Model::ilo ? "Ilo" : "Tenoval";
}

void State::did(const host::TramselFound& /*tramsel*/) {
  ++changes_;
  at(Family::tramsel).isFound = true;
}

void State::did(const host::CorveltaBattery& battery) {
  ++changes_;
  DeviceState& device = at(Family::corvelta);
  device.isFound = true;
  device.battery = battery.level;
  device.isReady = true;
}

void State::did(const host::FenwixIdentity& identity) {
  ++changes_;
  DeviceState& device = at(Family::fenwix);
  device.isFound = true;
  device.identity = identity;
  device.isReady = true;
}

void State::did(const host::FenwixBattery& battery) {
  ++changes_;
  at(Family::fenwix).battery = battery.level;
  at(Family::fenwix).health = battery.health;
}

void State::did(const host::FenwixRms& rms) {
  count(rms.stream == 1 ? rms1 : rms2);
}

void State::did(const host::FenwixRaw& raw) {
  count(raw.stream == 1 ? raw1 : raw2);
}

void State::did(const host::FenwixJson& /*document*/) {
  ++changes_;
}

void State::did(const host::TramselMotion& motion) {
  count(Stream::motion);
  DeviceState& device = at(Family::tramsel);
  const std::optional<int> battery = motion.battery;
  if (device.isReady && device.battery == battery) return;
  ++changes_;
  device.isReady = true;
  device.battery = battery;
}

void State::did(const host::CorveltaOnMains& /*mains*/) {
  ++changes_;
  at(Family::corvelta).isOnMains = true;
}

void State::did(const host::CorveltaCalibration& /*calibration*/) {
  count(Stream::calibration);
}

void State::did(const host::CorveltaCalibrationError& /*error*/) {
  count(Stream::error);
}

void State::did(const host::CorveltaContraction& /*record*/) {
  count(Stream::contraction);
}

void State::did(const host::ProbeMeasurement& measurement) {
  count(Stream::probe);
  DeviceState& device = at(Family::probe);
  const std::optional<int> battery = measurement.battery;
  if (device.isReady && device.battery == battery) return;
  ++changes_;
  device.isReady = true;
  device.battery = battery;
}

void State::did(const host::UnknownMessage& /*message*/) {
  ++changes_;
  ++unknown_;
}

void State::did(const host::DamagedLine& /*line*/) {
  ++changes_;
  ++damaged_;
}

void State::appendDevice(std::string& json, Family family) const {
  const DeviceState& device = this->device(family);
  json += '{';
  json::member(json, "family", kFamilyNames[static_cast<std::size_t>(family)]);
  json::member(json, "isFound", device.isFound);
  json::member(json, "hasFailed", device.hasFailed);
  json::member(json, "isReady", device.isReady);
  json::member(json, "name", std::string_view(device.name));
  json::member(json, "model", std::string_view(device.model));
  json::member(json, "battery", device.battery);
  json::member(json, "health", device.health);
  json::member(json, "isOnMains", device.isOnMains);
  json::member(json, "firmware", std::string_view(device.firmware));
  json::member(json, "isCommandOpen", device.isCommandOpen);
  json::member(json, "commandRefusal", std::string_view(device.commandRefusal));
  if (device.identity) {
    json::member(json, "serial", device.identity->serial);
    json::member(json, "modelNumber", device.identity->model);
    json::member(json, "firmwareNumber", device.identity->firmware);
    json::member(json, "hardware", device.identity->hardware);
    json::member(json, "systemId", device.identity->systemId);
  }
  json += '}';
}

std::string State::toJson() const {
  std::string json = "{";
  json::member(json, "version", std::string_view(version_));
  json::member(json, "radio", std::string_view(radio_));
  json::member(json, "isScanning", isScanning_);
  json::member(json, "hasSerialZero", hasSerialZero_);
  json::member(json, "unusable", unusable_);
  json::member(json, "isInputClosed", isInputClosed_);
  json::member(json, "stalled", stalled_);
  json::member(json, "lastCommand", std::string_view(lastCommand_));
  json::member(json, "lines", lines_);
  json::member(json, "damaged", damaged_);
  json::member(json, "unknown", unknown_);
  json::member(json, "missed", missed_);
  if (ending_) {
    json::member(json, "endedBySignal", ending_->isBySignal);
    json::member(json, "endCode", ending_->code);
    json::member(json, "endedAt", endedAt_);
  }
  json += ",\"devices\":[";
  for (std::size_t i = 0; i < kFamilies; ++i) {
    if (i > 0) json += ',';
    appendDevice(json, static_cast<Family>(i));
  }
  json += "],\"streams\":{";
  for (std::size_t i = 0; i < streams_.size(); ++i) {
    ((i > 0 ? json += ",\"" : json += '"') += kStreamNames[i]) += "\":{";
    json::member(json, "count", streams_[i].count);
    json::member(json, "last", streams_[i].last);
    json += '}';
  }
  return json += "}}";
}

}  // namespace scope
