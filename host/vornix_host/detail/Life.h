// The state of one run of the bridge, from its start to its end.
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
  std::string whyRadioUnusable;  // in words; empty if no "Z;" came
  std::string radio = "unknown";
  std::vector<std::string> lostDevices;  // names; lost before their services were known
  std::string whyDistrusted;             // as in TrustLost; empty while the bridge is trusted

  bool isReady(Needs device) const {
    return device == Needs::nothing || std::ranges::count(ready_, device) > 0;
  }

  // Whether a command of the document's channel has to wait for a document that was asked for.
  bool isHeldUp(const Command& command) const {
    return awaitsDocument_ && isNotDuringDocument(command);
  }

  bool awaitsDocument() const { return awaitsDocument_; }

  // Whether the log has reported a loss: of a device, or of all, by a reset of the radio, which is
  // on again.
  bool hasLost() const { return !lostDevices.empty() || (wasReset_ && radio == "on"); }

  // Notes a message of the bridge. Not to be called once the bridge is not trusted.
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

  // Notes a line that is being sent to the bridge, with its command.
  void noteSent(const Command& command, std::string_view line) {
    awaitsDocument_ = awaitsDocument_ || asksForDocument(line);
    if (!command.stop.empty()) started_.push_back(command.stop);
    std::erase(started_, command.word);
    std::erase_if(heard_, [&](const Heard& one) { return one.stream.stop == command.word; });
  }

  // The commands that stop all that was started and not stopped.
  const std::vector<std::string_view>& stops() const { return started_; }

  // The streams that have been silent for this long; each is reported once.
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

  // Whether messages of this kind come once per device: that it was found, or is ready.
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

  // Values of a stream that was started by a command may still come after it was stopped.
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

  // The name at the end of a log text. It is looked for among the accepted devices' names, since
  // the name and the error before it may contain " de " as well.
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
  std::vector<Family> told_;  // the families of all devices so far, lost ones included
  bool awaitsDocument_ = false;
  bool wasReset_ = false;
  std::vector<std::string> accepted_;  // the devices' names
  std::vector<std::string_view> started_;
  std::vector<Heard> heard_;  // the streams that have begun
};

}  // namespace vornix_host::detail
