// What the judge makes of the radio's state, of the devices that are found, and of the scan.
#include <algorithm>
#include <functional>

#include "tests/oracle/Output.h"
#include "tests/oracle/Utf8.h"
#include "tests/world/Judge.h"

namespace world {

using namespace std::chrono_literals;

namespace {

// After bluetoothd's start the bridge lets adapters appear for 5 s, and it looks at the loss of
// power for some tenths of a second.
constexpr Microseconds kSettling = 6500ms;
constexpr Microseconds kLongestScan = 60s;
constexpr Microseconds kCheck = 1100ms;  // of the scan: every second
constexpr int kMostAskedInASecond = 20;

}  // namespace

// --- The radio

std::string Judge::situation() const {
  if (!hasBus_) return "unsupported";
  if (!bluetoothd_.isRunning()) return sawStack_ ? "resetting" : "unsupported";
  if (bluetoothd_.deniesAccess) return "unauthorized";
  if (bluetoothd_.deniesDiscovery && hasAskedToDiscover_) return "unauthorized";
  std::vector<bool> adapters;  // whether each is powered
  for (const auto& [path, adapter] : bluetoothd_.adapters()) {
    if (admits(path)) adapters.push_back(adapter.isPowered);
  }
  if (!adapter_.empty()) {
    if (!bluetoothd_.hasAdapter(adapter_)) return "unsupported";
    return bluetoothd_.isPowered(adapter_) ? "poweredOn" : "poweredOff";
  }
  const bool isOn = std::ranges::any_of(adapters, std::identity());
  // Its adapters may still be on their way.
  if (!isOn && settlesUntil_ && agenda_.now() < *settlesUntil_) return "settling";
  if (adapters.empty()) return "unsupported";
  return isOn ? "poweredOn" : "poweredOff";
}

void Judge::situationMayHaveChanged() {
  if (!isAlive_) return;
  sawStack_ |= bluetoothd_.isRunning();
  const bool isRunning = bluetoothd_.isRunning();
  if (!isRunning) adapter_.clear();
  if (isRunning && !wasRunning_) settlesUntil_ = agenda_.now() + 5s;
  wasRunning_ = isRunning;
  const std::string now = situation();
  if (situations_.empty() || situations_.back().second != now) {
    situations_.emplace_back(agenda_.now(), now);
  }
}

void Judge::stateTold(const std::string& state) {
  situationMayHaveChanged();
  if (state == told_) throw Wrong("told again: " + state);
  // In the order in which they were, though perhaps late, and not all.
  while (situation_ < situations_.size() && situations_[situation_].second != state) ++situation_;
  if (situation_ == situations_.size()) throw Wrong("the radio was not so: " + state);
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
  const auto& [since, now] = situations_.back();
  const Microseconds limit = now == "unsupported" ? 2 * kSettling : kSettling;
  const Microseconds quiet = agenda_.now() - std::max({since, toldAt_, lastStall_});
  if (quiet > limit && told_ != now) {
    throw Wrong("the radio is " + now + ", which was not told; last told: " + told_);
  }
  // A loss of power ends the scan and the links, also when the power is back at once. A bridge that
  // waits for another adapter of a bluetoothd that is new does not look at this one.
  const std::size_t next = situation_ + 1;
  if (quiet > limit && told_ == "poweredOn" && !settlesUntil_ && next > adapterSince_ &&
      next < situations_.size() && situations_[next].second == "poweredOff") {
    throw Wrong("the loss of power was not told");
  }
}

void Judge::didAsk(const std::string& path, const std::string& member) {
  if (member == "Connect") didAskToConnect(path);
  if (member == "Connect" || member.ends_with("Discovery")) {
    auto& [since, count] = asked_[path + member];
    if (agenda_.now() > since + 1s) std::tie(since, count) = std::pair(agenda_.now(), 0);
    if (++count > kMostAskedInASecond) throw Wrong("asks without end: " + member);
  }
  if (member != "SetDiscoveryFilter" && member != "StartDiscovery") return;
  use(path);
  hasAskedToDiscover_ |= member == "StartDiscovery";
  situationMayHaveChanged();
}

// A call that bluetoothd has not looked at yet may have been meant for an object before this one.
void Judge::didAskToConnect(const std::string& path) const {
  for (const auto& device : bluetoothd_.devices()) {
    if (!device->hasObject() || device->path() != path) continue;
    if (device->objects + (device->isStored ? 1 : 0) > 1) continue;
    if (device->isBeingConnected()) throw Wrong("connects twice at once to " + device->key());
  }
}

void Judge::use(const std::string& adapter) {
  if (adapter_ != adapter) adapterSince_ = situations_.size() - 1;
  adapter_ = adapter;
}

bool Judge::admits(const std::string& adapter) const {
  return onlyAdapter_.empty() || adapter.ends_with("/" + onlyAdapter_);
}

// --- Devices found

void Judge::didHear(lab::RemoteDevice& device) {
  see(device);
}

void Judge::see(lab::RemoteDevice& device) {
  reportable_.insert(&device);
  sightings_[device.model().name()].emplace(scans_, device.objects, !device.knownName().empty());
}

void Judge::didListObjects() {
  for (const auto& [path, adapter] : bluetoothd_.adapters()) {
    if (adapter_.empty() && adapter.isPowered && admits(path)) use(path);
  }
  for (const auto& device : bluetoothd_.devices()) {
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

lab::RemoteDevice* Judge::deviceNamed(const std::string& name, bool isLowered) const {
  for (const auto& device : bluetoothd_.devices()) {
    const std::string own = device->model().name();
    if (sightings_.contains(own) && (isLowered ? named(own).key : own) == name) {
      return device.get();
    }
  }
  return nullptr;
}

void Judge::deviceFound(const std::string& key) {
  if (firstRequest_) throw Wrong("told of a device after the first request: " + key);
  lab::RemoteDevice* device = deviceNamed(key, true);
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
  for (const auto& device : bluetoothd_.devices()) {
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
  lab::RemoteDevice* device = deviceNamed(name, false);
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
  const bool isAll =
      served_.contains("tramsel") && served_.contains("sonde") && served_.contains("corvelta");
  if (isAll && !allFound_) allFound_ = agenda_.now();
}

void Judge::checkFound() const {
  if (!isScanning_ || told_ != "poweredOn" || adapter_.empty()) return;
  const auto adapter = bluetoothd_.adapters().find(adapter_);
  if (adapter == bluetoothd_.adapters().end() || !adapter->second.isForClient) return;
  for (const lab::RemoteDevice* device : reportable_) {
    const std::string name = device->knownName();
    if (!device->isInRange() || name.empty() || device->adapter() != adapter_) continue;
    if (device->isConnected() && !bluetoothd_.traits.tellsConnected) continue;  // nothing tells
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

void Judge::scanStopped() {
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

// bluetoothd discovers for the bridge while it scans or wants a link, and not longer.
void Judge::checkDiscovery() {
  const auto adapter = bluetoothd_.adapters().find(adapter_);
  if (told_ != "poweredOn" || adapter == bluetoothd_.adapters().end()) {
    return isDiscoveryWrongSince_.reset();
  }
  const bool isSettled = std::ranges::all_of(served_, [](const auto& entry) {
    const Served& served = *entry.second;
    return served.links == 1 && served.losses == 0 && served.device().isConnected();
  });
  const bool isOn = adapter->second.isForClient;
  const bool isWrong = isScanning_ ? !isOn && adapter->second.isPowered : isSettled && isOn;
  if (!isWrong) return isDiscoveryWrongSince_.reset();
  if (!isDiscoveryWrongSince_) isDiscoveryWrongSince_ = std::max(agenda_.now(), lastStall_);
  if (agenda_.now() - std::max(*isDiscoveryWrongSince_, lastStall_) > kSettling) {
    throw Wrong(isOn ? "discovers for nothing" : "scans, and does not discover");
  }
}

}  // namespace world
