#include "tests/world/World.h"

#include <malloc.h>
#include <poll.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <utility>

#include "HostCommands.h"
#include "RunLoop.h"
#include "Utils.h"
#include "tests/oracle/Commands.h"
#include "tests/oracle/Utf8.h"
#include "tests/oracle/subject/Endings.h"

namespace world {

using namespace std::chrono_literals;

namespace {

// A turn of the loop that finds nothing to wait for takes some time all the same.
constexpr Microseconds kTurn = 10us;
constexpr std::size_t kMostTurnsAtOnce = 20000;
constexpr Microseconds kShortLife = 2s;
constexpr int kMostShortLives = 3;
constexpr Microseconds kPause = 1s;                              // for each of them
constexpr int kLongestPause = 16;                                // in such pauses
constexpr std::size_t kMemoryOfOthers = std::size_t{128} << 10;  // bytes

}  // namespace

Taken takenNow() {
  constexpr int kMostDescriptors = 256;
  Taken taken{};
  const auto ofProcess = mallinfo2();
  taken.memory = ofProcess.uordblks + ofProcess.hblkhd;
  std::array<pollfd, kMostDescriptors> all{};
  for (int i = 0; i < kMostDescriptors; ++i) all[static_cast<std::size_t>(i)].fd = i;
  poll(all.data(), all.size(), 0);
  taken.descriptors = static_cast<int>(std::ranges::count_if(
      all, [](const pollfd& each) { return (each.revents & POLLNVAL) == 0; }));
  return taken;
}

World::World(const Plan& plan, const std::set<std::size_t>& left, Print print)
    : plan_(plan),
      left_(left),
      print_(std::move(print)),
      orderDice_(plan.seed * 11 + 5),
      hostDice_(plan.seed * 13 + 9),
      lateDice_(plan.seed * 17 + 3),
      scene_(makeScene(*this, plan)),
      judge_(agenda_, scene_->radio()) {
  takeOutput();
  setUp();
}

void World::setUp() {
  for (std::size_t i = 0; i < plan_.devices.size(); ++i) {
    const PlannedDevice& planned = plan_.devices[i];
    models_.push_back(lab::makeDevice(planned.kind));
    models_.back()->control("name " + planned.name);
    models_.back()->control("rate " + std::to_string(planned.rate));
    for (const std::string& order : planned.controls) models_.back()->control(order);
    devices_.push_back(&scene_->add(*models_.back(), planned));
    agenda_.at(planned.appears, [this, i] {
      tell("appears: " + plan_.devices[i].name);
      scene_->appear(i);
    });
  }
  scene_->radio().devices = devices_;
  scene_->start();
  for (std::size_t i = 0; i < plan_.incidents.size(); ++i) {
    if (left_.contains(i)) continue;
    agenda_.at(plan_.incidents[i].time, [this, i] { happen(plan_.incidents[i]); });
  }
  if (plan_.strangers > 0) agenda_.at(kFirstStranger, [this] { passStranger(0); });
  if (plan_.settled > 0s) {
    agenda_.at(plan_.settled, [this] { taken_ = takenNow(); });
    agenda_.at(plan_.trouble, [this] { checkTaken(); });
  }
  agenda_.at(plan_.end, [this] { isOver_ = true; });
}

void World::checkTaken() {
  const Taken now = takenNow();
  tell("bytes in use: " + std::to_string(taken_->memory) + ", then " + std::to_string(now.memory));
  if (now.memory > taken_->memory + kMemoryOfOthers) throw Wrong("keeps memory for ever");
  if (now.descriptors != taken_->descriptors) throw Wrong("keeps descriptors for ever");
}

void World::passStranger(std::size_t number) {
  if (number == plan_.strangers) return;
  judge_.didPass(scene_->passBy(number));
  agenda_.after(kStrangerInterval, [this, number] { passStranger(number + 1); });
}

// --- What happens

void World::happen(const Incident& incident) {
  const std::size_t number = devices_.empty() ? 0 : incident.which % devices_.size();
  if (incident.isOfDevice() && devices_.empty()) return;
  std::string about;
  if (incident.isOfDevice()) about = " " + plan_.devices[number].name;
  if (incident.kind == Incident::Kind::command) {
    about = " " + commandOf(incident.which, incident.choice);
  }
  if (incident.kind == Incident::Kind::spoilValues) {
    about += ": " + faultOf(incident.which / 8, incident.choice);
  }
  tell(std::string("* ") + nameOf(incident.kind) + about);
  switch (incident.kind) {
    case Incident::Kind::spoilRequest:
      spoilt_.insert(number);
      spoilChoice_ = incident.choice;
      break;
    case Incident::Kind::spoilValues:
      models_[number]->control(faultOf(incident.which / 8, incident.choice));
      agenda_.after(incident.length, [this, number] { models_[number]->control("fault clear"); });
      break;
    case Incident::Kind::values:
      sendValues(number, incident.choice);
      break;
    case Incident::Kind::stallHost:
    case Incident::Kind::command:
    case Incident::Kind::restartBridge:
    case Incident::Kind::killBridge:
      happenToHost(incident);
      break;
    default:
      scene_->happen(incident, number);
  }
  judge_.lookAtSituation();
}

void World::happenToHost(const Incident& incident) {
  if (incident.kind == Incident::Kind::restartBridge) host_.isInputAtEnd = true;
  if (incident.kind == Incident::Kind::killBridge) isKilled_ = true;
  if (incident.kind == Incident::Kind::stallHost) {
    host_.isStalled = true;
    if (incident.choice % 2 == 1) host_.fillPipe(incident.choice / 2 % 128);
    judge_.hostDidStall();
    agenda_.after(incident.length, [this] {
      host_.isStalled = false;
      judge_.hostDidReadOn();
      tell("  the host reads on");
    });
  }
  if (incident.kind != Incident::Kind::command) return;
  host_.commands.push_back(commandOf(incident.which, incident.choice));
  // What it has just begun or ended, and perhaps once more.
  if (incident.choice % 4 == 1) host_.commands.push_back(commandOf(incident.which ^ 1U, 1));
  if (incident.choice % 16 == 1) host_.commands.push_back(commandOf(incident.which, 1));
}

// The host sends commands for it, if there are any for devices of its family.
void World::orderFrom(const lab::StackDevice& device, std::size_t count) {
  constexpr std::size_t kCount = 16;
  const oracle::Family* const family = oracle::familyOf(oracle::lowered(device.model().name()));
  std::vector<std::string> lines;
  for (std::size_t i = 0; i < kCount; ++i) {
    const std::string line = commandOf(i, 1);
    const oracle::Command* const command = oracle::commandOf(line);
    if (command != nullptr && command->family != nullptr && command->family == family) {
      lines.push_back(line);
    }
  }
  if (lines.empty()) return;
  for (std::size_t i = 0; i < count; ++i) {
    host_.commands.push_back(lines[orderDice_.below(lines.size())]);
    tell("* " + host_.commands.back());
  }
}

void World::sendValues(std::size_t number, std::size_t choice) {
  lab::BenchDevice& model = *models_[number];
  const std::string level = std::to_string(1 + choice % 100);
  model.control("battery " + level);
  model.control("mains " + std::to_string(choice % 2));
  model.control("calibration " + level);
  model.control("health " + level);
  model.control("json " + std::to_string(choice));
  if (choice % 3 == 0) {
    model.control("rate 60");
    agenda_.after(500ms, [&model, rate = plan_.devices[number].rate] {
      model.control("rate " + std::to_string(rate));
    });
  }
  scene_->wake(number);
}

lab::Witness::Fate World::fateOf(lab::StackDevice& device, std::string_view verb,
                                 std::string_view uuid) {
  for (std::size_t i = 0; i < devices_.size(); ++i) {
    if (devices_[i] != &device || spoilt_.erase(i) == 0) continue;
    constexpr std::array kFates{Fate::refuse, Fate::drop, Fate::ignore};
    const Fate fate = kFates[spoilChoice_ % kFates.size()];
    tell("  spoilt: " + std::string(verb) + " " + std::string(uuid));
    judge_.didSpoil(device, std::string(uuid));
    return fate;
  }
  return Fate::serve;
}

// --- The bridge's life

// The host starts it anew at once; but less and less often while it ends as soon as it has begun.
void World::play() {
  int shortLives = 0;
  while (!isOver_) {
    try {
      if (shortLives > kMostShortLives) pass(kPause * std::min(shortLives, kLongestPause));
      const Microseconds start = agenda_.now();
      liveOnce();
      shortLives = agenda_.now() - start < kShortLife ? shortLives + 1 : 0;
    } catch (const Over&) {
    }
    scene_->bridgeDidGo();
    host_.commands.clear();
    host_.isInputAtEnd = isKilled_ = false;
    host_.read();
  }
}

void World::liveOnce() {
  host_.connect();
  tell("the bridge starts");
  judge_.didStart();
  const auto platform = scene_->makePlatform();
  platform->deliverInto(host_.output());
  const auto bridge = std::make_unique<ComBLE>(*platform);
  bridge_ = bridge.get();
  const auto end = [&] {
    bridge_ = nullptr;
    hasLeftCallback_ |= !isWaiting_;
    isWaiting_ = false;
    scene_->bridgeDidEnd();
  };
  try {
    writeLine("Demarrage de Vornix 1.04");
    for (;;) turnRunLoop(*platform, *bridge);
  } catch (const subject::ProcessEnded& how) {
    end();
    tell(how.hardStop ? "the bridge has stopped hard" : "the bridge has ended");
    host_.letAllOut();
    if (!how.hardStop && !host_.isStalled && !host_.unread().empty()) {
      throw Wrong("lost at the end: " + host_.unread());
    }
    judge_.didEnd(how.hardStop);
  } catch (const Killed&) {
    end();
    judge_.didGetKilled();
    host_.forget();
  } catch (...) {
    end();
    throw;
  }
}

// What the reader does, where it may: between any two steps of the main thread.
void World::act() {
  if (isActing_ || bridge_ == nullptr) return;
  if (isOver_) throw Over();
  if (isKilled_) throw Killed();
  if (host_.commands.empty() && !host_.isInputAtEnd) return;
  if (!orderDice_.oneIn(3)) return;
  // The reader takes no command while something is held back; the end does not wait.
  const bool isTheEnd = host_.commands.empty() || host_.commands.front() == "kill";
  if (!isTheEnd && (host_.isStalled || host_.output().holdsBack())) return;
  isActing_ = true;
  const struct Done {
    bool& flag;
    ~Done() { flag = false; }
  } done{isActing_};
  if (host_.commands.empty()) {
    judge_.willEndInput();
    throw subject::ProcessEnded{false};
  }
  const std::string command = host_.commands.front();
  host_.commands.pop_front();
  tell("< " + command);
  judge_.willDo(command);
  handleHostCommand(*bridge_, command);
  judge_.didDo();
}

// --- Time

World::Woken World::wait(Microseconds time, bool mayPass, const std::function<bool()>& isReady) {
  isWaiting_ = true;
  const Woken woken = turn(time, mayPass, isReady);
  isWaiting_ = false;
  return woken;
}

World::Woken World::turn(Microseconds time, bool mayPass, const std::function<bool()>& isReady) {
  for (;;) {
    if (++turnsAtOnce_ > kMostTurnsAtOnce) throw Wrong("it turns without end");
    scene_->serve();
    const std::size_t unread = host_.unread().size();
    host_.read();
    if (host_.unread().size() < unread) turnsAtOnce_ = 0;
    act();
    if (isReady()) {
      if (comesLate()) continue;
      return Woken::bySomething;
    }
    if (agenda_.now() >= time) return Woken::byTime;
    if (!mayPass) {
      step(agenda_.now() + kTurn);
      return Woken::byNothing;
    }
    if (!host_.isStalled && !host_.unread().empty()) {
      const std::size_t before = host_.unread().size();
      host_.read();
      if (host_.unread().size() < before) continue;  // which makes room
    }
    if (canRest()) {
      if (!host_.unread().empty()) {
        throw Wrong("is held back, though the host reads: " + host_.unread());
      }
      judge_.didComeToRest();
    }
    step(time);
  }
}

// The bridge has something to do and does not run for a while. Not before it has told how the radio
// is: until then, only it knows what it has seen of the stack.
bool World::comesLate() {
  if (!plan_.isBusy || !judge_.hasHeardOfState() || !lateDice_.oneIn(8)) return false;
  const bool isLong = lateDice_.oneIn(4);
  const Microseconds late = isLong ? lateDice_.between(100ms, 3s) : lateDice_.between(0ms, 100ms);
  tell("  the bridge is late by " + std::to_string(late.count()));
  const Microseconds end = agenda_.now() + late;
  while (agenda_.now() < end) {
    scene_->serve();
    host_.read();
    step(end);
  }
  judge_.didComeLate();
  return true;
}

// The next thing happens, or so much time passes.
void World::step(Microseconds limit) {
  const auto next = agenda_.next();
  const auto ofStack = scene_->next();
  const Microseconds due = std::min(next.value_or(limit), ofStack.value_or(limit));
  if (std::min(due, limit) > agenda_.now()) turnsAtOnce_ = 0;
  if (next && *next <= limit && *next == due) {
    agenda_.doNext();
  } else if (ofStack && *ofStack <= limit) {
    agenda_.passUntil(*ofStack);
    // Which may call the bridge.
    const bool isWaiting = std::exchange(isWaiting_, false);
    scene_->doNext();
    isWaiting_ = isWaiting;
  } else {
    agenda_.passUntil(limit);
  }
  judge_.lookAtSituation();
  if (isOver_ && judge_.isAlive()) judge_.didComeToEnd();
  if (isOver_) throw Over();
}

void World::pass(Microseconds duration) {
  const Microseconds end = agenda_.now() + duration;
  while (agenda_.now() < end) {
    scene_->serve();
    host_.read();
    act();
    step(end);
  }
}

bool World::canRest() {
  return !host_.isStalled && host_.commands.empty() && scene_->isIdle() && !scene_->serve();
}

}  // namespace world
