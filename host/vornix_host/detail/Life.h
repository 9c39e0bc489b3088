// What is known from one start of the bridge to its end. The next start begins with nothing.
#pragma once

#include <algorithm>
#include <array>
#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "../Commands.h"
#include "../Message.h"
#include "Json.h"

namespace vornix_host::detail {

class Life {
 public:
  using Time = std::chrono::steady_clock::time_point;

  std::string lastLog;
  std::string whyRadioUnusable;  // in words; empty where no "Z;" came
  std::string radio = "unknown";
  std::vector<std::string> lostDevices;  // before their services were known; by name
  std::string whyDistrusted;             // as TrustLost has it; empty while the bridge is believed

  bool isReady(Needs device) const {
    return device == Needs::nothing || (device == Needs::corvelta ? corvelta_ : fenwix_);
  }

  // A document was asked for and has not come: a command of its channel may not go.
  bool isHeldUp(const Command& command) const {
    return awaitsDocument_ && isNotDuringDocument(command);
  }

  bool awaitsDocument() const { return awaitsDocument_; }

  // The log told of a loss: of a device, or of all that were found, by a radio that was reset and
  // is on again.
  bool hasLost() const { return !lostDevices.empty() || (wasReset_ && radio == "on"); }

  // What the bridge wrote. For nothing behind what made it distrusted.
  void note(const Message& message, Time when) {
    whyDistrusted = distrust(message);
    if (!whyDistrusted.empty()) {
      corvelta_ = fenwix_ = false;
      heard_ = {};
      return;
    }
    if (const auto* log = std::get_if<LogEntry>(&message)) noteLog(log->text);
    if (const auto* unusable = std::get_if<RadioUnusable>(&message)) noteRadio(*unusable);
    corvelta_ = corvelta_ || std::holds_alternative<CorveltaBattery>(message);
    fenwix_ = fenwix_ || std::holds_alternative<FenwixIdentity>(message);
    if (std::holds_alternative<FenwixJson>(message)) awaitsDocument_ = false;
    if (const int stream = streamOf(message); stream >= 0) heard_.at(index(stream)) = when;
  }

  // A line that is on its way to the bridge, and its command.
  void noteSent(const Command& command, std::string_view line) {
    awaitsDocument_ = awaitsDocument_ || asksForDocument(line);
    if (!command.stop.empty()) started_.push_back(command.stop);
    std::erase(started_, command.word);
    if (command.word == "FX_stopRaw") heard_[rawStreams].reset();
    if (command.word == "FX_stopRaw2") heard_[rawStreams + 1].reset();
  }

  // The commands that stop what was started and not stopped.
  const std::vector<std::string_view>& stops() const { return started_; }

  // Streams that have been silent for so long; each is told once.
  std::vector<std::string> lost(Time now, std::chrono::milliseconds silence) {
    std::vector<std::string> names;
    for (std::size_t i = 0; i < heard_.size(); ++i) {
      if (!heard_[i] || now - *heard_[i] < silence) continue;
      heard_[i].reset();
      names.emplace_back(streamNames.at(i));
    }
    return names;
  }

 private:
  static constexpr std::array<std::string_view, 6> streamNames{"motion", "measurement", "rms 1",
                                                               "rms 2",  "raw 1",       "raw 2"};
  static constexpr std::size_t rawStreams = 4;

  static std::size_t index(int stream) { return static_cast<std::size_t>(stream); }

  // The stream that should go on once it has begun, or -1. A Corvelta may be silent.
  int streamOf(const Message& message) const {
    if (std::holds_alternative<TramselMotion>(message)) return 0;
    if (std::holds_alternative<ProbeMeasurement>(message)) return 1;
    if (const auto* rms = std::get_if<FenwixRms>(&message)) return 1 + rms->stream;
    const auto* raw = std::get_if<FenwixRaw>(&message);
    if (raw == nullptr) return -1;
    const bool isOn =
        std::ranges::count(started_, raw->stream == 1 ? "FX_stopRaw" : "FX_stopRaw2") > 0;
    return isOn ? 3 + raw->stream : -1;
  }

  std::string distrust(const Message& message) const {
    const auto* const damage = std::get_if<DamagedLine>(&message);
    if (damage != nullptr && (damage->mayBeDocument || awaitsDocument_)) {
      return "damaged output may be the text of a document";
    }
    const auto* const document = std::get_if<FenwixJson>(&message);
    if (document != nullptr && !document->text.empty() && !Json::is(document->text)) {
      return "a document is no JSON";
    }
    return {};
  }

  void noteLog(const std::string& text) {
    constexpr std::string_view accepted = "Connexion a ";
    constexpr std::string_view state = "manager state update : ";
    lastLog = text;
    if (text.starts_with(accepted)) accepted_.push_back(text.substr(accepted.size()));
    if (text.starts_with("erreur de lecture des services ")) {
      lostDevices.push_back(nameAtEnd(text));
    }
    if (text.starts_with(state)) noteRadio(text.substr(state.size()));
  }

  // Of an accepted device: a name, and the error before it, may hold " de " as well.
  std::string nameAtEnd(const std::string& text) const {
    std::string found = text.substr(text.rfind(" de ") + 4);
    for (const std::string& name : accepted_) {
      if (name.size() > found.size() && text.ends_with(" de " + name)) found = name;
    }
    return found;
  }

  void noteRadio(const std::string& state) {
    radio = state;
    if (radio == "poweredOn") radio = "on";
    if (radio == "poweredOff") radio = "off";
    if (radio != "resetting") return;
    wasReset_ = wasReset_ || !accepted_.empty() || corvelta_ || fenwix_;
    corvelta_ = fenwix_ = false;
  }

  void noteRadio(const RadioUnusable& unusable) {
    using Reason = RadioUnusable::Reason;
    const bool isOff = unusable.reason == Reason::poweredOff;
    const bool isUnsupported = unusable.reason == Reason::unsupported;
    radio = isOff ? "off" : isUnsupported ? "unsupported" : "unauthorized";
    whyRadioUnusable = radio;
  }

  bool corvelta_ = false;
  bool fenwix_ = false;
  bool awaitsDocument_ = false;
  bool wasReset_ = false;
  std::vector<std::string> accepted_;  // the devices' names
  std::vector<std::string_view> started_;
  std::array<std::optional<Time>, 6> heard_;
};

}  // namespace vornix_host::detail
