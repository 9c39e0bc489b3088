#include "lab/hci/LinkFaults.h"

#include <algorithm>
#include <array>

#include "lab/Text.h"
#include "lab/Uuid.h"

namespace lab {
namespace {

constexpr std::array<std::string_view, 5> kPlainSteps{"mtu", "services", "characteristics",
                                                      "descriptors", "other"};
constexpr std::array<std::string_view, 4> kStepsWithUuid{"read", "write", "subscribe",
                                                         "unsubscribe"};

// The step with its UUID in the form of Uuid::text; nothing when it is not a step.
std::optional<std::string> normalizedStep(std::string_view text) {
  const auto [verb, object] = splitAt(text, ':');
  if (verb == "request" || verb == "value") {
    const std::optional<std::uint32_t> number = toNumber(object);
    if (!number || *number == 0) return std::nullopt;
    return std::string(verb) + ':' + std::to_string(*number);
  }
  if (std::ranges::find(kPlainSteps, text) != kPlainSteps.end()) return std::string(text);
  const std::optional<Uuid> uuid = Uuid::parse(object);
  const bool takesUuid = std::ranges::find(kStepsWithUuid, verb) != kStepsWithUuid.end();
  if (!uuid || !takesUuid) return std::nullopt;
  return std::string(verb) + ':' + uuid->text();
}

}  // namespace

bool LinkFaults::set(std::string_view name, std::string_view argument) {
  if (name == "refuse-connections") {
    const std::optional<std::uint32_t> number = toNumber(argument);
    refusedConnections_ = number.value_or(0);
    return number.has_value();
  }
  if (name == "late-at") return setLate(argument);
  if (name != "drop-at" && name != "silence-at") return false;
  std::optional<std::string> step = normalizedStep(argument);
  if (!step) return false;
  (name == "drop-at" ? dropAt_ : silenceAt_) = std::move(step);
  return true;
}

bool LinkFaults::setLate(std::string_view argument) {
  const auto [step, text] = splitAt(argument, ',');
  const std::optional<std::uint32_t> delay = toNumber(text);
  std::optional<std::string> normalized = normalizedStep(step);
  if (!delay || !normalized) return false;
  lateAt_ = std::move(normalized);
  delay_ = std::chrono::milliseconds(*delay);
  return true;
}

bool LinkFaults::refusesConnection() {
  if (refusedConnections_ == 0) return false;
  --refusedConnections_;
  return true;
}

void LinkFaults::linkUp() {
  requests_ = 0;
  values_ = 0;
}

LinkFaults::Verdict LinkFaults::onRequest(const std::string& step) {
  ++requests_;
  if (isReached(dropAt_, step)) return Verdict::drop;
  if (isReached(silenceAt_, step)) return Verdict::ignore;
  if (isReached(lateAt_, step)) return Verdict::delay;
  return Verdict::serve;
}

bool LinkFaults::dropsAfterValue() {
  ++values_;
  if (dropAt_ != "value:" + std::to_string(values_)) return false;
  dropAt_.reset();
  return true;
}

bool LinkFaults::isReached(std::optional<std::string>& wanted, const std::string& step) const {
  if (wanted != step && wanted != "request:" + std::to_string(requests_)) return false;
  wanted.reset();
  return true;
}

}  // namespace lab
