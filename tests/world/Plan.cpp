#include "tests/world/Plan.h"

#include <algorithm>
#include <array>

#include "lab/models/Models.h"
#include "tests/oracle/Identifiers.h"

namespace world {

using namespace std::chrono_literals;
using lab::Dice;

namespace {

constexpr std::size_t kStartRaw = 4;  // among commandOf's

PlannedDevice deviceOf(Dice& dice, std::size_t number) {
  const bool isStranger = dice.oneIn(5);
  const lab::DeviceKind& kind = *lab::kDeviceKinds[dice.below(std::size(lab::kDeviceKinds))];
  PlannedDevice device{};
  device.kind = kind.name;
  device.name = isStranger ? "Casque-" + std::to_string(number)
                           : std::string(kind.deviceNames[dice.below(kind.deviceNames.size())]);
  // No two have the same.
  if (number > 0 && !isStranger) device.name += "/" + std::to_string(number);
  device.appears = dice.oneIn(2) ? Microseconds(0) : dice.between(0s, 8s);
  device.rate = static_cast<unsigned>(1 + dice.below(3));
  device.isStored = dice.oneIn(6);
  device.doesNameComeLater = dice.oneIn(3);
  device.isHidden = dice.oneIn(30);
  return device;
}

Incident::Kind kindOf(Dice& dice) {
  int sum = 0;
  for (const auto& [kind, weight] : weightsHere()) sum += weight;
  auto drawn = static_cast<int>(dice.below(static_cast<std::size_t>(sum)));
  for (const auto& [kind, weight] : weightsHere()) {
    drawn -= weight;
    if (drawn < 0) return kind;
  }
  return Incident::Kind::values;
}

Incident incidentOf(Dice& dice, Microseconds end) {
  Incident incident{};
  incident.time = dice.oneIn(4) ? dice.between(0ms, 300ms) : dice.between(0s, end);
  incident.kind = kindOf(dice);
  incident.which = dice.below(64);
  incident.length = dice.oneIn(2) ? dice.between(0ms, 2s) : dice.between(1s, 20s);
  incident.choice = dice.below(1024);
  // Long enough for bluetoothd to forget a device, and for the scan to end.
  if (incident.kind == Incident::Kind::vanish && dice.oneIn(3)) {
    incident.length = dice.between(20s, 70s);
  }
  // Back so soon that it hardly looks like a loss.
  if (incident.kind == Incident::Kind::powerOff && dice.oneIn(3)) {
    incident.length = dice.between(0ms, 250ms);
  }
  return incident;
}

}  // namespace

bool Incident::isOfDevice() const {
  constexpr std::array kOfDevices{Kind::vanish,      Kind::loseLink,      Kind::spoilRequest,
                                  Kind::spoilValues, Kind::values,        Kind::removeDevice,
                                  Kind::holdDevice,  Kind::forgetPairing, Kind::changeServices};
  return std::ranges::find(kOfDevices, kind) != kOfDevices.end();
}

Plan::Plan(std::uint64_t number) : seed(number), isBusy(Dice(number * 23 + 7).oneIn(3)) {
  Dice dice(number * 2 + 1);
  setting = drawSetting(dice);
  const std::size_t deviceCount = dice.below(7);
  for (std::size_t i = 0; i < deviceCount; ++i) devices.push_back(deviceOf(dice, i));
  const bool isLong = dice.oneIn(4);
  trouble = isLong ? dice.between(10s, 90s) : dice.between(500ms, 15s);
  end = trouble + 45s;
  const std::size_t count = dice.below(dice.oneIn(3) ? 30 : 10);
  for (std::size_t i = 0; i < count; ++i) {
    const Incident drawn = incidentOf(dice, trouble);
    end = std::max(end, drawn.time + drawn.length + 30s);
    // By time; of several at the same time, the one drawn first comes first.
    incidents.insert(std::ranges::upper_bound(incidents, drawn.time, {}, &Incident::time), drawn);
  }
}

Plan Plan::ofStrangers(std::size_t count) {
  Plan plan(1);
  plan.setting.reset();
  plan.isBusy = false;
  const auto passed = [](std::size_t number) {
    return kFirstStranger + kStrangerInterval * static_cast<std::int64_t>(number);
  };
  plan.devices = {{.kind = "tramsel",
                   .name = "Tramsel-1",
                   .appears = passed(count * 3 / 4),
                   .rate = 1,
                   .isStored = false,
                   .doesNameComeLater = false,
                   .isHidden = false,
                   .isConnectable = false}};
  // The host is told of each as long as it has no device. It does not read for so long that the
  // stack has forgotten the first whom it is to be told of when it goes on.
  plan.incidents = {{passed(count / 2), Incident::Kind::stallHost, 0, 45s, 0}};
  plan.strangers = count;
  // Once as many are there as will be at any time.
  plan.settled = passed(count / 2);
  plan.trouble = passed(count);
  plan.end = plan.trouble + 1s;
  return plan;
}

Plan Plan::ofStall(Microseconds length) {
  constexpr std::size_t kValueSize = 244;
  constexpr std::size_t kPerSecond = (std::size_t{1} << 20) / kValueSize;
  const std::string stream = "3A87";
  std::string value;
  for (std::size_t i = 0; i < kValueSize; ++i) value += "7F";
  Plan plan = ofStrangers(0);
  plan.devices = {{.kind = "fenwix",
                   .name = "Nomsuel",
                   .appears = 0s,
                   .rate = 1,
                   .isStored = false,
                   .doesNameComeLater = false,
                   .isHidden = false,
                   .controls = {"rate " + stream + " " + std::to_string(kPerSecond),
                                "fault value=" + stream + ":" + value}}};
  using Kind = Incident::Kind;
  plan.incidents = {{20s, Kind::command, kStartRaw, 0s, 2},
                    {22s, Kind::stallHost, 0, 1s, 0},
                    {25s, Kind::stallHost, 0, length + 1s, 0}};
  plan.settled = 21s;
  plan.trouble = 24s;
  plan.end = 25s + length;
  return plan;
}

std::string commandOf(std::size_t which, std::size_t choice) {
  constexpr std::array<const char*, 20> kLines{"CV_debutCalib",
                                               "CV_finCalib",
                                               "CV_debutAcquisition",
                                               "CV_finAcquisition",
                                               "FX_startRaw",
                                               "FX_stopRaw",
                                               "FX_startRaw2",
                                               "FX_stopRaw2",
                                               "FX_getJson",
                                               "FX_cmdWriteInt 12 100000",
                                               "FX_cmdWriteByte 7 1",
                                               "FX_startRaw",
                                               "FX_getJson",
                                               "CV_debutAcquisition",
                                               "",
                                               "bonjour <toi>",
                                               "FX_cmdWriteInt 300 1",
                                               "FX_cmdWriteByte 7",
                                               "kill ",
                                               "kill"};
  // What ends the bridge is rare.
  const std::size_t bound = choice % 8 == 0 ? kLines.size() : 16;
  return kLines[which % bound];
}

std::string faultOf(std::size_t which, std::size_t choice) {
  constexpr std::array<const char*, 8> kFaults{"short=%:0",  "short=%:1",    "short=%:3",
                                               "value=%:00", "value=%:FF",   "value=%:00000000",
                                               "value=%:30", "value=%:C3 28"};
  const auto& uuids = oracle::everyCharacteristic();
  std::string fault = kFaults[choice % kFaults.size()];
  return "fault " + fault.replace(fault.find('%'), 1, uuids[which % uuids.size()]);
}

const char* nameOf(Incident::Kind kind) {
  switch (kind) {
    case Incident::Kind::vanish:
      return "out of range";
    case Incident::Kind::loseLink:
      return "link lost";
    case Incident::Kind::spoilRequest:
      return "next request spoilt";
    case Incident::Kind::spoilValues:
      return "values spoilt";
    case Incident::Kind::values:
      return "values at once";
    case Incident::Kind::powerOff:
      return "adapter off";
    case Incident::Kind::unplug:
      return "adapter pulled out";
    case Incident::Kind::stopStack:
      return "bluetoothd ends";
    case Incident::Kind::standStill:
      return "bluetoothd stands still";
    case Incident::Kind::changeAlias:
      return "alias changed";
    case Incident::Kind::discover:
      return "another discovers";
    case Incident::Kind::removeDevice:
      return "device removed";
    case Incident::Kind::stallHost:
      return "host stalls";
    case Incident::Kind::command:
      return "command";
    case Incident::Kind::loseBus:
      return "the bus ends";
    case Incident::Kind::restartBridge:
      return "end of input";
    case Incident::Kind::killBridge:
      return "bridge killed";
    case Incident::Kind::resetRadio:
      return "the radio is reset";
    case Incident::Kind::delayCalls:
      return "calls and callbacks are late";
    case Incident::Kind::loseState:
      return "the radio's state is not known";
    case Incident::Kind::holdDevice:
      return "another program connects";
    case Incident::Kind::forgetPairing:
      return "pairing forgotten";
    case Incident::Kind::changeServices:
      return "services changed";
  }
  return "";
}

}  // namespace world
