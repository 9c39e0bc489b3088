#include "scope/watch/State.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <variant>

#include "scope/Ending.h"
#include "scope/watch/Commands.h"
#include "scope/watch/Json.h"

namespace scope {
namespace {

namespace host = vornix_host;

// Whether its devices take commands: a message tells when they do. The others are ready once they
// stream.
bool hasCommands(Family family) {
  return std::ranges::find(host::families, family, &host::FamilyInfo::family)->needs !=
         Needs::nothing;
}

// Takes a message's numbers for facts: but for those of a message that is plotted, of which only
// what may be absent is none of the curves.
class Facts {
 public:
  Facts(std::vector<Fact>& facts, bool isPlotted) : facts_(facts), isPlotted_(isPlotted) {}

  bool is(std::string_view /*text*/) { return true; }
  template <typename Number>
  bool field(std::string_view name, Number value, std::int64_t /*least*/, std::int64_t /*most*/) {
    return isPlotted_ || take(name, static_cast<std::int64_t>(value));
  }
  template <typename Number>
  bool field(std::string_view name, const std::optional<Number>& value, std::int64_t /*absent*/,
             std::int64_t /*most*/) {
    return take(name, value);
  }
  bool field(std::string_view /*name*/, const std::vector<std::uint8_t>& /*bytes*/) { return true; }
  bool field(std::string_view /*name*/, const std::string& /*text*/) { return true; }

  bool haveChanged() const { return haveChanged_; }

 private:
  bool take(std::string_view name, std::optional<std::int64_t> value) {
    const auto found = std::ranges::find(facts_, name, &Fact::field);
    if (found == facts_.end()) {
      facts_.push_back({name, value});
      haveChanged_ = true;
    } else if (found->value != value) {
      found->value = value;
      haveChanged_ = true;
    }
    return true;
  }

  std::vector<Fact>& facts_;
  bool isPlotted_;
  bool haveChanged_ = false;
};

std::optional<Family> familyOf(std::string_view name) {
  for (const auto& [prefix, family] : host::beginnings) {
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

std::optional<std::int64_t> valueOf(const DeviceState& device, std::string_view field) {
  const auto found = std::ranges::find(device.facts, field, &Fact::field);
  return found == device.facts.end() ? std::nullopt : found->value;
}

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
  return *needs == Needs::nothing ||
         std::ranges::any_of(host::families, [&](const host::FamilyInfo& one) {
           return one.needs == *needs && device(one.family).isReady;
         });
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

template <typename Kind>
void State::did(const Kind& message) {
  using Form = host::Form<Kind>;
  DeviceState& device = at(Form::family.value());
  Facts facts(device.facts, Form::isPlotted);
  Form::visit(facts, message);
  const bool wasReady = device.isReady;
  if constexpr (Form::role == host::Role::ready) device.isReady = true;
  if constexpr (Form::role == host::Role::stream) {
    if (!hasCommands(*Form::family)) device.isReady = true;
  }
  if constexpr (Form::role == host::Role::found || Form::role == host::Role::ready) {
    device.isFound = true;
  }
  if constexpr (Form::isPlotted) {
    StreamState& stream = streams_[host::plotOf(message)];
    ++stream.count;
    stream.last = now_;
  }
  // A page sees at once what is no value of a curve.
  if (!Form::isPlotted || facts.haveChanged() || device.isReady != wasReady) ++changes_;
}

void State::did(const host::CorveltaOnMains& /*mains*/) {
  ++changes_;
  at(Family::corvelta).isOnMains = true;
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
  json::member(json, "family", host::families[static_cast<std::size_t>(family)].name);
  json::member(json, "isFound", device.isFound);
  json::member(json, "hasFailed", device.hasFailed);
  json::member(json, "isReady", device.isReady);
  json::member(json, "name", std::string_view(device.name));
  json::member(json, "isOnMains", device.isOnMains);
  json::member(json, "firmware", std::string_view(device.firmware));
  json::member(json, "isCommandOpen", device.isCommandOpen);
  json::member(json, "commandRefusal", std::string_view(device.commandRefusal));
  json += ",\"facts\":{";
  for (const Fact& fact : device.facts) json::member(json, fact.field, fact.value);
  json += "}}";
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
  for (std::size_t i = 0; i < devices_.size(); ++i) {
    if (i > 0) json += ',';
    appendDevice(json, static_cast<Family>(i));
  }
  json += "],\"streams\":{";
  for (std::size_t i = 0; i < streams_.size(); ++i) {
    ((i > 0 ? json += ",\"" : json += '"') += host::plots[i]) += "\":{";
    json::member(json, "count", streams_[i].count);
    json::member(json, "last", streams_[i].last);
    json += '}';
  }
  return json += "}}";
}

}  // namespace scope
