#include "tests/world/Judge.h"

#include <algorithm>

#include "tests/oracle/Identifiers.h"
#include "tests/oracle/Output.h"
#include "tests/oracle/Utf8.h"

namespace world {

using namespace std::chrono_literals;

namespace {

// How long what was begun may take.
constexpr Microseconds kSetUp = 12s;

constexpr Microseconds kNextAttempt = 3s;

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
  passersBy_.clear();
  firstRequest_.reset();
  allFound_.reset();
  isScanning_ = false;
  scans_ = 0;
  situation_ = 0;
  early_.clear();
  told_.clear();
  toldAt_ = agenda_.now();
  isDiscoveryWrongSince_.reset();
  radio_.didStart();
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

void Judge::didGetKilled() {
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
  lab::StackDevice* device = deviceNamed(name, false);
  const oracle::Family* family = named(name).family;
  if (device == nullptr || family == nullptr || served_.contains(family->name)) return false;
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
    didTellState(text.substr(state.size()));
  } else if (text.starts_with(found)) {
    didTellDevice(text.substr(found.size()));
  } else if (text == "Stop Scan") {
    didTellStop();
  } else if (!beginsConnection(line)) {
    for (const auto& [family, served] : served_) {
      if (auto more = served->explain(line)) {
        due_.assign(more->begin(), more->end());
        return;
      }
      if (text.starts_with("erreur de lecture des services ") &&
          text.ends_with(" de " + served->device().model().name()) &&
          served->toldDiscoveries < served->losses + served->failedDiscoveries) {
        ++served->toldDiscoveries;
        return;
      }
    }
    throw Wrong("nothing explains " + line);
  }
}

// --- At rest

void Judge::didComeToRest() {
  if (!isAlive_ || isUnusable_) return;
  lookAtSituation();
  if (!due_.empty()) throw Wrong("did not come: " + due_.front());
  for (const auto& [family, served] : served_) {
    if (auto line = served->missing(agenda_.now())) throw Wrong("was not told: " + *line);
    const lab::StackDevice& device = served->device();
    // A subscription that is never answered holds up what comes after it, for a while.
    if (!served->orders.empty() && !served->isSpoilt) {
      throw Wrong("an order has not arrived at " + device.key());
    }
    // Once services have changed, it may have been the platform's own, to find them again.
    if (served->toldDiscoveries < served->failedDiscoveries && !served->hasChanged) {
      throw Wrong("a failed discovery was not told: " + device.key());
    }
    checkSetUp(*served);
  }
  checkState();
  checkFound();
  checkScan();
  checkDiscovery();
}

void Judge::checkSetUp(const Served& served) const {
  lab::StackDevice& device = served.device();
  const bool isUp = device.isConnected() && device.areServicesResolved();
  if (!isUp || served.links != 1 || served.losses > 0 || device.isBeingConnected()) return;
  const bool isTreeSpoilt = served.isDiscoverySpoilt && served.isTreeKnown == Served::Is::no;
  if (device.isHidden() || served.failedDiscoveries > 0 || isTreeSpoilt) return;
  // A link that is not told of is noticed at the next attempt.
  if (radio_.habits.noticesLinksLate && agenda_.now() < served.upAt + kNextAttempt) return;
  const_cast<Served&>(served).isTreeKnown = Served::Is::yes;
  if (served.isSpoilt && agenda_.now() < served.spoiltAt + radio_.habits.setUp) return;
  for (const std::string& uuid : served.subscriptions()) {
    if (!device.isSubscribed(uuid) && !served.refused.contains(uuid)) {
      throw Wrong(device.model().name() + " has not been subscribed to: " + uuid);
    }
  }
  for (const std::string& uuid : served.readings()) {
    if (served.refused.contains(uuid)) continue;
    const auto count = served.reads.find(uuid);
    if (count == served.reads.end()) throw Wrong(device.key() + " has not been read: " + uuid);
    if (count->second > 1) throw Wrong(device.key() + " was read twice: " + uuid);
  }
  for (const auto& [uuid, isOn] : served.streams) {
    if (served.refused.contains(uuid)) continue;
    if (device.isSubscribed(uuid) != isOn) throw Wrong("the stream is not as ordered: " + uuid);
  }
}

void Judge::didComeToEnd() {
  if (!isAlive_ || isUnusable_) return;
  const bool isKnown = radio_.situations().back().state != Radio::kSettling;
  if (told_.empty() && isKnown && agenda_.now() - toldAt_ > kSetUp) {
    throw Wrong("the radio was never told of");
  }
  if (told_ != "poweredOn") return;
  for (const auto& [family, served] : served_) {
    const lab::StackDevice& device = served->device();
    const Microseconds since = std::max(served->takenAt, toldAt_);
    if (agenda_.now() - since < kSetUp || served->hasFailedToConnect) continue;
    if (device.canBeConnected() && served->links == 0 && !device.isConnected()) {
      throw Wrong("does not bring the link up to " + device.model().name());
    }
  }
}

}  // namespace world
