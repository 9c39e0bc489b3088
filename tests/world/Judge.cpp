#include "tests/world/Judge.h"

#include <algorithm>

#include "tests/oracle/Identifiers.h"
#include "tests/oracle/Output.h"
#include "tests/oracle/Utf8.h"

namespace world {

using namespace std::chrono_literals;

namespace {

// After bluetoothd's start the bridge lets adapters appear for 5 s, and it looks at the loss of
// power for some tenths of a second.
constexpr Microseconds kSettling = 6500ms;
constexpr Microseconds kLongestScan = 60s;
constexpr Microseconds kCheck = 1100ms;  // of the scan: every second

std::string textOf(const std::string& line) {
  const std::string head = "<@time : ";
  return line.starts_with(head) ? line.substr(head.size(), line.size() - head.size() - 2) : "";
}

// With the time taken out, if it is a time.
std::string normalized(const std::string& line) {
  const std::string form = "<@dd:dd:dd.ddd : ";
  if (!line.starts_with("<@") || line.size() < form.size()) return line;
  for (std::size_t i = 0; i < form.size(); ++i) {
    const bool isDigit = line[i] >= '0' && line[i] <= '9';
    if (form[i] == 'd' ? !isDigit : form[i] != line[i]) return line;
  }
  return "<@time : " + line.substr(form.size());
}

bool isMessage(const std::string& line) {
  if (line.size() < 7) return false;
  return oracle::messageLine(line.substr(1, line.size() - 7)) == line;
}

}  // namespace

void Judge::didStart() {
  isAlive_ = true;
  hasBanner_ = false;
  due_.clear();
  commandDue_.clear();
  mustStop_ = mayStop_ = mayExit_ = isUnusable_ = false;
  served_.clear();
  sightings_.clear();
  found_.clear();
  foundInScan_.clear();
  reportable_.clear();
  firstRequest_.reset();
  allFound_.reset();
  isScanning_ = false;
  scans_ = 0;
  situations_.clear();
  situation_ = 0;
  early_.clear();
  told_.clear();
  toldAt_ = agenda_.now();
  sawStack_ = false;
  hasBus_ = true;
  wasRunning_ = bluetoothd_.isRunning();
  hasAskedToDiscover_ = false;
  settlesUntil_.reset();
  adapter_.clear();
  situationMayHaveChanged();
}

void Judge::didEnd(bool isHardStop) {
  isAlive_ = false;
  const char* entry = isHardStop ? oracle::hardStopEntry : oracle::exitEntry;
  // By the reader, whatever the other thread is about to write.
  if (isHardStop ? mayStop_ || mustStop_ : mayExit_ && !mustStop_) return;
  bool isRight = false;
  for (const auto& [family, served] : served_) isRight |= served->explainsEnd(entry);
  if (!isRight) throw Wrong(std::string("nothing calls for this end: ") + entry);
  if (!due_.empty()) throw Wrong("an end in place of " + due_.front());
}

void Judge::wasKilled() {
  isAlive_ = false;
}

// --- Lines

void Judge::didWrite(std::string_view bytes) {
  const std::string line(bytes);
  if (!line.starts_with('<') || !line.ends_with(">\n")) throw Wrong("half a line: " + line);
  if (line.find('\n') != line.size() - 1 && !line.starts_with("<PJSON")) {
    throw Wrong("more than a line: " + line);
  }
  const std::string plain = normalized(line);
  if (plain == line && !isMessage(line)) throw Wrong("neither log nor message: " + line);
  didWriteLine(plain);
}

bool Judge::takeDue(Lines& due, const std::string& line) {
  if (due.empty() || due.front() != line) return false;
  due.pop_front();
  return true;
}

// The lines before it are the same for all of a model; the name tells which one it is.
bool Judge::takeDueConnection(const std::string& line) {
  const std::string head = oracle::logLine("Connexion a ").substr(0, 21);
  if (due_.empty() || !due_.front().starts_with(head) || !line.starts_with(head)) return false;
  if (!isChoiceOpen_) return false;
  const std::string name = textOf(line).substr(12);
  lab::RemoteDevice* device = deviceNamed(name, false);
  const auto family = familyOf(oracle::lowered(name));
  if (device == nullptr || !family || served_.contains(*family)) return false;
  if (Served(*family, *device, name).firstLines() != choice_) return false;
  due_.pop_front();
  return true;
}

void Judge::didWriteLine(const std::string& line) {
  if (takeDue(commandDue_, line)) return;
  if (takeDue(due_, line) || takeDueConnection(line)) {
    isChoiceOpen_ = isChoiceOpen_ && !due_.empty();
    if (line.starts_with("<Z;")) isUnusable_ = mayExit_ = true;
    if (textOf(line).starts_with("Connexion a ")) take(textOf(line).substr(12));
    return;
  }
  if (!due_.empty()) throw Wrong("in place of " + due_.front() + " came " + line);
  if (isUnusable_) throw Wrong("a line after the last message: " + line);
  const std::string text = textOf(line);
  const std::string state = "manager state update : ";
  const std::string found = "Device trouve : ";
  if (!hasBanner_) {
    if (text != "Demarrage de Vornix 1.04") throw Wrong("no banner, but " + line);
    hasBanner_ = true;
  } else if (text.starts_with(state)) {
    stateTold(text.substr(state.size()));
  } else if (text.starts_with(found)) {
    deviceFound(text.substr(found.size()));
  } else if (text == "Stop Scan") {
    scanStopped();
  } else if (!beginsConnection(line)) {
    for (const auto& [family, served] : served_) {
      if (auto more = served->explain(line)) {
        due_.assign(more->begin(), more->end());
        return;
      }
      if (text.starts_with("erreur de lecture des services ") && served->losses > 0 &&
          served->failedDiscoveries < served->losses) {
        ++served->failedDiscoveries;
        return;
      }
    }
    throw Wrong("nothing explains " + line);
  }
}

// --- The radio

std::string Judge::situation() const {
  if (!hasBus_) return "unsupported";
  if (!bluetoothd_.isRunning()) return sawStack_ ? "resetting" : "unsupported";
  if (bluetoothd_.deniesAccess) return "unauthorized";
  if (bluetoothd_.deniesDiscovery && hasAskedToDiscover_) return "unauthorized";
  const auto& adapters = bluetoothd_.adapters();
  if (!adapter_.empty()) {
    if (!bluetoothd_.hasAdapter(adapter_)) return "unsupported";
    return bluetoothd_.isPowered(adapter_) ? "poweredOn" : "poweredOff";
  }
  const bool isOn = std::ranges::any_of(adapters, [](const auto& a) { return a.second.isPowered; });
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
}

void Judge::didAsk(const std::string& path, const std::string& member) {
  if (member != "SetDiscoveryFilter" && member != "StartDiscovery") return;
  adapter_ = path;
  hasAskedToDiscover_ |= member == "StartDiscovery";
  situationMayHaveChanged();
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
    if (adapter_.empty() && adapter.isPowered) adapter_ = path;
  }
  for (const auto& device : bluetoothd_.devices()) {
    if (device->isInRange()) see(*device);
  }
  for (const auto& [family, served] : served_) {
    const bool isThere = served->device().areServicesResolved();
    if (isThere && served->isTreeKnown == Served::Is::no) served->isTreeKnown = Served::Is::maybe;
  }
}

lab::RemoteDevice* Judge::deviceNamed(const std::string& name, bool isLowered) const {
  for (const auto& device : bluetoothd_.devices()) {
    const std::string own = device->model().name();
    if (sightings_.contains(own) && (isLowered ? oracle::lowered(own) : own) == name) {
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
  const auto family = familyOf(key);
  if (!family || served_.contains(*family)) return;
  const std::vector<std::string> lines = Served(*family, *device, name).firstLines();
  due_.assign(lines.begin(), lines.end());
  due_.push_back(oracle::logLine("Connexion a " + name));
}

// Without "Device trouve", after the first request.
bool Judge::beginsConnection(const std::string& line) {
  if (!firstRequest_) return false;
  for (const auto& device : bluetoothd_.devices()) {
    const std::string name = device->model().name();
    const auto family = familyOf(oracle::lowered(name));
    if (!family || served_.contains(*family) || !sightings_.contains(name)) continue;
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
  const auto family = familyOf(oracle::lowered(name));
  if (device == nullptr || !family || served_.contains(*family)) {
    throw Wrong("connects to what it must not: " + name);
  }
  auto& served = served_[*family] = std::make_unique<Served>(*family, *device, name);
  if (device->isConnected()) served->links = 1;
  if (!firstRequest_) firstRequest_ = agenda_.now();
  const bool isAll = served_.contains(Family::tramsel) && served_.contains(Family::sonde) &&
                     served_.contains(Family::corvelta);
  if (isAll && !allFound_) allFound_ = agenda_.now();
}

void Judge::checkFound() const {
  if (!isScanning_ || told_ != "poweredOn" || adapter_.empty()) return;
  const auto adapter = bluetoothd_.adapters().find(adapter_);
  if (adapter == bluetoothd_.adapters().end() || !adapter->second.isForClient) return;
  for (const lab::RemoteDevice* device : reportable_) {
    const std::string name = device->knownName();
    if (!device->isInRange() || name.empty() || device->adapter() != adapter_) continue;
    const std::string key = oracle::lowered(name);
    const auto family = familyOf(key);
    if (family && !served_.contains(*family)) throw Wrong("was not taken: " + name);
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

// --- At rest

void Judge::isAtRest() {
  if (!isAlive_ || isUnusable_) return;
  situationMayHaveChanged();
  if (!due_.empty()) throw Wrong("did not come: " + due_.front());
  for (const auto& [family, served] : served_) {
    if (auto line = served->missing()) throw Wrong("was not told: " + *line);
    const lab::RemoteDevice& device = served->device();
    // A subscription that is never answered holds up what comes after it, for a while.
    if (!served->orders.empty() && !served->isSpoilt) {
      throw Wrong("an order has not arrived at " + device.key());
    }
    checkSetUp(*served);
  }
  checkState();
  checkFound();
  checkScan();
}

void Judge::checkSetUp(const Served& served) const {
  lab::RemoteDevice& device = served.device();
  const bool isUp = device.isConnected() && device.areServicesResolved();
  if (!isUp || served.links != 1 || served.losses > 0 || device.isBeingConnected()) return;
  if (device.doesResolveToNothing) return;
  const_cast<Served&>(served).isTreeKnown = Served::Is::yes;
  if (served.isSpoilt) return;
  for (const std::string& uuid : served.subscriptions()) {
    if (!device.isSubscribed(uuid)) {
      throw Wrong(device.model().name() + " has not been subscribed to: " + uuid);
    }
  }
  for (const std::string& uuid : served.readings()) {
    const auto count = served.reads.find(uuid);
    if (count == served.reads.end()) throw Wrong(device.key() + " has not been read: " + uuid);
    if (count->second > 1) throw Wrong(device.key() + " was read twice: " + uuid);
  }
  for (const auto& [uuid, isOn] : served.streams) {
    if (device.isSubscribed(uuid) != isOn) throw Wrong("the stream is not as ordered: " + uuid);
  }
}

void Judge::isAtEnd() {
  if (!isAlive_ || isUnusable_) return;
  const bool isYoung = agenda_.now() - toldAt_ < 2 * kSettling;
  if (told_.empty() && !isYoung) throw Wrong("the radio was never told of");
  if (told_ != "poweredOn") return;
  for (const auto& [family, served] : served_) {
    const lab::RemoteDevice& device = served->device();
    const bool canLink = device.isAdvertising && device.isConnectable;
    if (canLink && served->links == 0 && !device.isConnected()) {
      throw Wrong("does not bring the link up to " + device.model().name());
    }
  }
}

const Served* Judge::served(Family family) const {
  const auto found = served_.find(family);
  return found == served_.end() ? nullptr : found->second.get();
}

}  // namespace world
