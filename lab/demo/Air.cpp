#include "lab/demo/Air.h"

#include <optional>
#include <string>

#include "lab/Text.h"

namespace lab::demo {
namespace {

namespace simulated = platform::simulated;
using namespace std::chrono_literals;
using platform::CBManagerState;

// About the times of a desktop's stack and of such devices.
constexpr simulated::Time kRadioDelay = 100ms;
constexpr simulated::Time kAdvertisingDelay = 250ms;  // for the Nth device, N times as much
constexpr simulated::Time kConnectDelay = 400ms;
constexpr simulated::Time kResponseDelay = 15ms;
constexpr simulated::Time kResetTime = 2s;

std::optional<simulated::Time> seconds(std::string_view text) {
  const std::optional<std::uint32_t> number = toNumber(text);
  if (!number) return std::nullopt;
  return std::chrono::seconds(*number);
}

std::optional<CBManagerState> stateNamed(std::string_view text) {
  if (text == "off") return CBManagerState::poweredOff;
  if (text == "unauthorized") return CBManagerState::unauthorized;
  if (text == "unsupported") return CBManagerState::unsupported;
  if (text == "unknown") return CBManagerState::unknown;
  if (text == "reset") return CBManagerState::resetting;
  return std::nullopt;
}

}  // namespace

Air::Air() {
  platform_.setFirstStateDelay(kRadioDelay);
}

bool Air::add(std::string_view kind) {
  std::unique_ptr<BenchDevice> model = makeDevice(kind);
  if (!model) return false;
  auto host = std::make_unique<SimulatedDevice>(platform_, *model);
  simulated::Device& device = host->device();
  participants_.push_back(
      std::make_unique<Participant>(Participant{std::move(model), std::move(host)}));
  device.advertisingDelay = kAdvertisingDelay * static_cast<int>(participants_.size());
  device.connectDelay = kConnectDelay;
  device.responseDelay = kResponseDelay;
  device.appear();
  return true;
}

bool Air::control(std::string_view line) {
  bool isUnderstood = false;
  for (const auto& participant : participants_) {
    isUnderstood = participant->model->control(line) || isUnderstood;
    participant->host->wake();
  }
  return isUnderstood;
}

bool Air::setFault(std::string_view name, std::string_view argument) {
  if (name == "radio") return setRadioFault(argument);
  bool isUnderstood = !participants_.empty();
  for (const auto& participant : participants_) {
    isUnderstood = setFaultOf(*participant, name, argument) && isUnderstood;
  }
  return isUnderstood;
}

bool Air::setRadioFault(std::string_view argument) {
  const auto [text, when] = splitAt(argument, '@');
  const std::optional<CBManagerState> state = stateNamed(text);
  const std::optional<simulated::Time> time = when.empty() ? simulated::Time{0} : seconds(when);
  if (!state || !time) return false;
  if (*time == simulated::Time{0}) platform_.setState(*state);
  platform_.at(*time, [this, state = *state] { platform_.setState(state); });
  if (*state != CBManagerState::resetting) return true;
  platform_.at(*time + kResetTime, [this] { platform_.setState(CBManagerState::poweredOn); });
  return true;
}

bool Air::setFaultOf(Participant& participant, std::string_view name, std::string_view argument) {
  simulated::Device& device = participant.host->device();
  if (name == "pending") {
    device.setConnectable(false);
    return true;
  }
  if (name == "refuse-services") {
    device.servicesRefusal = simulated::attError(0x0E);
    return true;
  }
  if (name == "refuse-characteristics") {
    for (auto& service : device.services)
      service.characteristicsRefusal = simulated::attError(0x0E);
    return true;
  }
  if (setNameFault(participant, name, argument) || setTimingFault(device, name, argument)) {
    return true;
  }
  const std::string line = "fault " + std::string(name) + '=' + std::string(argument);
  return participant.host->setFault(name, argument) || participant.model->control(line);
}

bool Air::setNameFault(Participant& participant, std::string_view name, std::string_view argument) {
  const std::optional<simulated::Time> time = seconds(argument);
  if (name != "no-name" && (name != "late-name" || !time)) return false;
  const std::string line = "name " + participant.model->name();
  participant.model->control("name ");
  participant.host->wake();
  if (name == "no-name") return true;
  platform_.at(*time, [&participant, line] {
    participant.model->control(line);
    participant.host->wake();
  });
  return true;
}

bool Air::setTimingFault(simulated::Device& device, std::string_view name,
                         std::string_view argument) {
  const std::optional<simulated::Time> time = seconds(argument);
  if (!time) return false;
  if (name == "late") {
    device.vanish();
    platform_.at(*time, [&device] { device.appear(); });
  } else if (name == "slow-connection") {
    device.connectDelay = *time;
  } else if (name == "slow") {
    device.responseDelay = *time / 1000;
  } else if (name == "lost") {
    device.onConnected = [this, &device, before = device.onConnected, time = *time] {
      before();
      platform_.after(time, [&device] { device.dropLink(); });
    };
  } else {
    return false;
  }
  return true;
}

}  // namespace lab::demo
