// What is known from one start of the bridge to its end. The next start begins with nothing.
#pragma once

#include <algorithm>
#include <chrono>
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
    return device == Needs::nothing || std::ranges::count(ready_, device) > 0;
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
      ready_.clear();
      heard_.clear();
      return;
    }
    if (const auto* log = std::get_if<LogEntry>(&message)) noteLog(log->text);
    if (const auto* unusable = std::get_if<RadioUnusable>(&message)) noteRadio(*unusable);
    if (std::holds_alternative<FenwixJson>(message)) awaitsDocument_ = false;
    std::visit([&](const auto& kind) { noteDevice(kind, when); }, message);
  }

  // A line that is on its way to the bridge, and its command.
  void noteSent(const Command& command, std::string_view line) {
    awaitsDocument_ = awaitsDocument_ || asksForDocument(line);
    if (!command.stop.empty()) started_.push_back(command.stop);
    std::erase(started_, command.word);
    std::erase_if(heard_, [&](const Heard& one) { return one.stream.stop == command.word; });
  }

  // The commands that stop what was started and not stopped.
  const std::vector<std::string_view>& stops() const { return started_; }

  // Streams that have been silent for so long; each is told once.
  std::vector<std::string> lost(Time now, std::chrono::milliseconds silence) {
    std::vector<std::string> names;
    std::erase_if(heard_, [&](const Heard& one) {
      const bool isLost = now - one.when >= silence;
      if (isLost) names.emplace_back(one.stream.name);
      return isLost;
    });
    return names;
  }

 private:
  struct Heard {
    Stream stream;
    Time when;
  };

  // Whether such a message comes once from each device: that it is found, or ready.
  template <typename Kind>
  static constexpr bool isOfDevice() {
    if constexpr (requires { Form<Kind>::role; }) {
      return Form<Kind>::role == Role::found || Form<Kind>::role == Role::ready;
    }
    return false;
  }

  template <typename Kind>
  void noteDevice(const Kind& message, Time when) {
    if constexpr (isOfDevice<Kind>()) told_.push_back(*Form<Kind>::family);
    if constexpr (requires { Form<Kind>::role; }) {
      if (Form<Kind>::role == Role::ready) noteReady(*Form<Kind>::family);
      if constexpr (!Form<Kind>::streams.empty()) noteHeard(streamOf(message), when);
    }
  }

  void noteReady(Family family) {
    for (const FamilyInfo& one : families) {
      if (one.family == family && !isReady(one.needs)) ready_.push_back(one.needs);
    }
  }

  // One that has to be asked for may still come behind its end.
  void noteHeard(const Stream& stream, Time when) {
    if (!stream.stop.empty() && std::ranges::count(started_, stream.stop) == 0) return;
    const auto found =
        std::ranges::find(heard_, stream.name, [](const Heard& one) { return one.stream.name; });
    if (found == heard_.end())
      heard_.push_back({stream, when});
    else
      found->when = when;
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
    const bool isAgain = std::visit([this](const auto& kind) { return wasTold(kind); }, message);
    return isAgain ? "a device is told of twice, as only the text of a document does" : "";
  }

  template <typename Kind>
  bool wasTold(const Kind& /*message*/) const {
    if constexpr (isOfDevice<Kind>()) return std::ranges::count(told_, *Form<Kind>::family) > 0;
    return false;
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
    wasReset_ = wasReset_ || !accepted_.empty() || !ready_.empty();
    ready_.clear();
  }

  void noteRadio(const RadioUnusable& unusable) {
    using Reason = RadioUnusable::Reason;
    const bool isOff = unusable.reason == Reason::poweredOff;
    const bool isUnsupported = unusable.reason == Reason::unsupported;
    radio = isOff ? "off" : isUnsupported ? "unsupported" : "unauthorized";
    whyRadioUnusable = radio;
  }

  std::vector<Needs> ready_;
  std::vector<Family> told_;  // of all devices, lost ones among them
  bool awaitsDocument_ = false;
  bool wasReset_ = false;
  std::vector<std::string> accepted_;  // the devices' names
  std::vector<std::string_view> started_;
  std::vector<Heard> heard_;  // what should go on
};

}  // namespace vornix_host::detail
