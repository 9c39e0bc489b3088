// What the judge makes of the radio's state, of the devices that are found, and of the scan.
#include <algorithm>
#include <functional>

#include "tests/oracle/Output.h"
#include "tests/oracle/Utf8.h"
#include "tests/world/Judge.h"

namespace world {

using namespace std::chrono_literals;

namespace {

constexpr Microseconds kLongestScan = 60s;
constexpr Microseconds kCheck = 1100ms;  // of the scan: every second

}  // namespace

// --- The radio

void Judge::lookAtSituation() {
  if (isAlive_) radio_.look();
}

void Judge::didTellState(const std::string& state) {
  lookAtSituation();
  const auto& situations = radio_.situations();
  if (state == told_ && !radio_.habits.tellsEveryState) throw Wrong("told again: " + state);
  // In the order in which they were, though perhaps late, and perhaps not all.
  std::size_t next = told_.empty() ? 0 : situation_ + 1;
  for (; next < situations.size() && situations[next].state != state; ++next) {
    if (!radio_.habits.tellsEveryState || situations[next].state == Radio::kSettling) continue;
    throw Wrong("was passed over: " + situations[next].state);
  }
  if (next == situations.size()) throw Wrong("the radio was not so: " + state);
  situation_ = next;
  told_ = state;
  toldAt_ = agenda_.now();
  if (state == "poweredOn") {
    isScanning_ = true;
    ++scans_;
    foundInScan_.clear();
    reportable_.clear();
  }
  const std::map<std::string, std::string> ends = {
      {"poweredOff", "Z;2;"}, {"unauthorized", "Z;4;"}, {"unsupported", "Z;3;"}};
  const auto end = ends.find(state);
  if (end != ends.end()) due_.push_back(*oracle::messageLine(end->second));
}

void Judge::checkState() const {
  const auto& situations = radio_.situations();
  const auto& [since, now] = situations.back();
  const Microseconds limit = (now == "unsupported" ? 2 : 1) * radio_.habits.settling;
  if (agenda_.now() - std::max({since, toldAt_, lastStall_}) <= limit) return;
  if (told_ != now && now != Radio::kSettling) {
    throw Wrong("the radio is " + now + ", which was not told; last told: " + told_);
  }
  for (std::size_t next = situation_ + 1; next < situations.size(); ++next) {
    if (radio_.isToBeTold(next)) throw Wrong("was not told: " + situations[next].state);
    if (!radio_.habits.tellsEveryState) break;
  }
}

// --- Devices found

void Judge::didHear(lab::StackDevice& device) {
  see(device);
}

void Judge::see(lab::StackDevice& device) {
  reportable_.insert(&device);
  const bool isNamed = !device.knownName().empty();
  sightings_[device.model().name()].emplace(scans_, device.objectCount(), isNamed);
}

// The host is told of everybody until there is a device to ask for.
void Judge::didPass(const std::string& name) {
  if (!firstRequest_) passersBy_.insert(oracle::lowered(name));
}

void Judge::didListObjects() {
  radio_.didListObjects();
  for (lab::StackDevice* device : radio_.devices) {
    if (device->isInRange()) see(*device);
  }
  for (const auto& [family, served] : served_) {
    const bool isThere = served->device().areServicesResolved();
    if (isThere && served->isTreeKnown == Served::Is::no) served->isTreeKnown = Served::Is::maybe;
  }
}

const Judge::Named& Judge::named(const std::string& name) const {
  const auto [entry, isNew] = names_.try_emplace(name);
  if (isNew) {
    const std::string key = oracle::lowered(name);
    entry->second = {key, oracle::familyOf(key)};
  }
  return entry->second;
}

lab::StackDevice* Judge::deviceNamed(const std::string& name, bool isLowered) const {
  for (lab::StackDevice* device : radio_.devices) {
    const std::string own = device->model().name();
    if (sightings_.contains(own) && (isLowered ? named(own).key : own) == name) return device;
  }
  return nullptr;
}

void Judge::didTellDevice(const std::string& key) {
  if (firstRequest_) throw Wrong("told of a device after the first request: " + key);
  if (passersBy_.erase(key) > 0) return;
  lab::StackDevice* device = deviceNamed(key, true);
  if (device == nullptr) throw Wrong("nobody has heard of " + key);
  const std::string name = device->model().name();
  if (++found_[key] > sightings_[name].size()) throw Wrong("told too often of " + key);
  foundInScan_.insert(key);
  const oracle::Family* family = named(name).family;
  if (family == nullptr || served_.contains(family->name)) return;
  const std::vector<std::string> lines = Served(*family, *device, name).firstLines();
  due_.assign(lines.begin(), lines.end());
  due_.push_back(oracle::logLine("Connexion a " + name));
}

// Without "Device trouve", after the first request.
bool Judge::beginsConnection(const std::string& line) {
  if (!firstRequest_) return false;
  for (lab::StackDevice* device : radio_.devices) {
    const std::string name = device->model().name();
    const oracle::Family* family = named(name).family;
    if (family == nullptr || served_.contains(family->name) || !sightings_.contains(name)) continue;
    std::vector<std::string> lines = Served(*family, *device, name).firstLines();
    lines.push_back(oracle::logLine("Connexion a " + name));
    if (lines.front() != line) continue;
    if (lines.size() == 1) {
      take(name);
    } else {
      // Which one it is, if there are several, its name tells.
      due_.assign(lines.begin() + 1, lines.end());
      choice_.assign(lines.begin(), lines.end() - 1);
      isChoiceOpen_ = true;
    }
    return true;
  }
  return false;
}

void Judge::take(const std::string& name) {
  lab::StackDevice* device = deviceNamed(name, false);
  const oracle::Family* family = named(name).family;
  if (device == nullptr || family == nullptr || served_.contains(family->name)) {
    throw Wrong("connects to what it must not: " + name);
  }
  if (!isScanning_) throw Wrong("connects after the scan: " + name);
  auto& served = served_[family->name] = std::make_unique<Served>(*family, *device, name);
  served->takenAt = agenda_.now();
  if (device->isConnected()) {
    served->links = 1;
    served->upAt = agenda_.now();
  }
  if (!firstRequest_) firstRequest_ = agenda_.now();
  passersBy_.clear();
  const bool isAll =
      served_.contains("tramsel") && served_.contains("sonde") && served_.contains("corvelta");
  if (isAll && !allFound_) allFound_ = agenda_.now();
}

void Judge::checkFound() const {
  if (!isScanning_ || told_ != "poweredOn" || radio_.isDiscovering() != true) return;
  if (!passersBy_.empty()) throw Wrong("was not told of: " + *passersBy_.begin());
  for (const lab::StackDevice* device : reportable_) {
    const std::string name = device->knownName();
    if (name.empty() || !radio_.doesReport(*device)) continue;
    const auto& [key, family] = named(name);
    if (family != nullptr && !served_.contains(family->name)) throw Wrong("was not taken: " + name);
    if (!firstRequest_ && !foundInScan_.contains(key)) throw Wrong("was not told of: " + name);
  }
}

// --- The end of the scan

bool Judge::isScanDue() const {
  const Microseconds now = agenda_.now();
  return (firstRequest_ && now > *firstRequest_ + kLongestScan) || allFound_;
}

void Judge::didTellStop() {
  if (!isScanning_) throw Wrong("it does not scan, and stops");
  if (!isScanDue()) throw Wrong("stops the scan too early");
  isScanning_ = false;
}

void Judge::checkScan() const {
  if (!isScanning_ || !isScanDue()) return;
  Microseconds since = std::max(toldAt_, lastStall_);
  const Microseconds late = firstRequest_ ? *firstRequest_ + kLongestScan : Microseconds::max();
  since = std::max(since, std::min(allFound_.value_or(Microseconds::max()), late));
  if (agenda_.now() - since > kCheck) throw Wrong("does not stop the scan");
}

// The stack discovers for the bridge while it scans, perhaps while it wants a link, and not longer.
void Judge::checkDiscovery() {
  const std::optional<bool> isOn = radio_.isDiscovering();
  if (told_ != "poweredOn" || !isOn) return isDiscoveryWrongSince_.reset();
  const auto isUp = [](const auto& entry) {
    const Served& served = *entry.second;
    return served.links == 1 && served.losses == 0 && served.device().isConnected();
  };
  const bool isSettled = !radio_.habits.discoversForLinks || std::ranges::all_of(served_, isUp);
  const bool isWrong = isScanning_ ? !*isOn : isSettled && *isOn;
  if (!isWrong) return isDiscoveryWrongSince_.reset();
  if (!isDiscoveryWrongSince_) isDiscoveryWrongSince_ = std::max(agenda_.now(), lastStall_);
  if (agenda_.now() - std::max(*isDiscoveryWrongSince_, lastStall_) > radio_.habits.settling) {
    throw Wrong(*isOn ? "discovers for nothing" : "scans, and does not discover");
  }
}

}  // namespace world
