#include "tests/world/World.h"

#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "ComBLE.h"
#include "HostCommands.h"
#include "RunLoop.h"
#include "Utils.h"
#include "platform/bluez/BluezPlatform.h"
#include "tests/oracle/subject/Endings.h"

namespace world {

using namespace std::chrono_literals;
using platform::bluez::Clock;

namespace {

World* current = nullptr;

// A turn of the loop that finds nothing to wait for takes some time all the same.
constexpr Microseconds kTurn = 10us;
constexpr std::size_t kMostTurnsAtOnce = 20000;
constexpr std::size_t kMostLinesAtOnce = 50;
constexpr std::size_t kMemoryOfOthers = std::size_t{128} << 10;  // bytes
constexpr double kStart = 1'700'000'000;                         // seconds since 1970

class WorldClock final : public Clock {
 public:
  explicit WorldClock(World& world) : world_(world) {}

  TimePoint now() const override { return TimePoint(world_.now() + kHead); }
  double date() const override {
    return kStart + std::chrono::duration<double>(world_.now()).count();
  }
  void sleep(std::chrono::microseconds duration) override { world_.pass(duration); }
  std::size_t wait(int epoll, TimePoint time, std::span<epoll_event> found) override {
    return world_.wait(epoll, worldTime(time), found, true);
  }
  std::size_t look(int epoll, TimePoint time, std::span<epoll_event> found) override {
    return world_.wait(epoll, worldTime(time), found, false);
  }

 private:
  static constexpr Microseconds kHead = 1000s;  // so that no time is zero

  static Microseconds worldTime(TimePoint time) {
    return std::chrono::ceil<Microseconds>(time.time_since_epoch()) - kHead;
  }

  World& world_;
};

std::string hex(const lab::Bytes& bytes) {
  std::string text;
  char digits[4];
  for (const std::uint8_t byte : bytes) {
    std::snprintf(digits, sizeof(digits), " %02X", byte);
    text += digits;
  }
  return text;
}

}  // namespace

std::size_t memoryInUse() {
  return mallinfo2().uordblks;
}

World::World(const Plan& plan, const std::set<std::size_t>& left, Print print)
    : plan_(plan),
      left_(left),
      print_(std::move(print)),
      worldDice_(plan.seed * 7 + 3),
      orderDice_(plan.seed * 11 + 5),
      bluetoothd_(agenda_, worldDice_, bus_, *this),
      judge_(agenda_, bluetoothd_, plan.onlyAdapter) {
  current = this;
  setenv("VORNIX_ADAPTER", plan.onlyAdapter.c_str(), 1);  // NOLINT(concurrency-mt-unsafe)
  std::setbuf(stdout, nullptr);
  setUp();
}

World::~World() {
  current = nullptr;
  if (input_ >= 0) close(input_);
}

void World::setUp() {
  bluetoothd_.traits = plan_.traits;
  bluetoothd_.deniesAccess = plan_.deniesAccess;
  bluetoothd_.deniesDiscovery = plan_.deniesDiscovery;
  for (std::size_t i = 0; i < plan_.adapters.size(); ++i) {
    bluetoothd_.plug("/org/bluez/hci" + std::to_string(i), plan_.adapters[i]);
  }
  for (std::size_t i = 0; i < plan_.devices.size(); ++i) {
    const PlannedDevice& planned = plan_.devices[i];
    models_.push_back(lab::makeDevice(planned.kind));
    models_.back()->control("name " + planned.name);
    models_.back()->control("rate " + std::to_string(planned.rate));
    lab::RemoteDevice& device =
        bluetoothd_.add(*models_.back(), "dev_00_00_00_00_00_0" + std::to_string(i));
    device.isStored = planned.isStored;
    device.doesNameComeLater = planned.doesNameComeLater;
    device.doesResolveToNothing = planned.isHidden;
    device.isConnectable = planned.isConnectable;
    agenda_.at(planned.appears, [this, &device, i] {
      device.isAdvertising = true;
      tell("appears: " + plan_.devices[i].name);
      advertise(i);
    });
  }
  if (plan_.isStackThere) bluetoothd_.start();
  if (plan_.discoversForAnother && !plan_.adapters.empty()) {
    bluetoothd_.discoverForAnother(adapterOf(0), true);
  }
  for (std::size_t i = 0; i < plan_.incidents.size(); ++i) {
    if (left_.contains(i)) continue;
    agenda_.at(plan_.incidents[i].time, [this, i] { happen(plan_.incidents[i]); });
  }
  if (plan_.strangers > 0) agenda_.at(kFirstStranger, [this] { passStranger(0); });
  agenda_.at(plan_.end, [this] { isOver_ = true; });
}

// Once as many are there as will be at any time, all that they take is what those before left.
void World::passStranger(std::size_t number) {
  if (number == plan_.strangers / 2) memoryInUse_ = memoryInUse();
  if (number == plan_.strangers) {
    const std::size_t now = memoryInUse();
    tell("bytes in use: " + std::to_string(memoryInUse_) + ", then " + std::to_string(now));
    if (now > memoryInUse_ + kMemoryOfOthers) throw Wrong("strangers leave something behind");
    return;
  }
  char key[32];
  std::snprintf(key, sizeof(key), "dev_%08zX", number);
  bluetoothd_.passBy(adapterOf(0), key, "Casque-" + std::to_string(number));
  agenda_.after(kStrangerInterval, [this, number] { passStranger(number + 1); });
}

void World::advertise(std::size_t number) {
  bluetoothd_.hear(*bluetoothd_.devices()[number]);
  agenda_.after(worldDice_.between(300ms, 1500ms), [this, number] { advertise(number); });
}

std::string World::adapterOf(std::size_t which) const {
  return "/org/bluez/hci" + std::to_string(which % std::max<std::size_t>(1, plan_.adapters.size()));
}

// --- What happens

void World::happen(const Incident& incident) {
  using Kind = Incident::Kind;
  const std::string adapter = adapterOf(incident.which);
  auto& devices = bluetoothd_.devices();
  const std::size_t number = devices.empty() ? 0 : incident.which % devices.size();
  lab::RemoteDevice* device = devices.empty() ? nullptr : devices[number].get();
  const bool isOfDevice = incident.kind <= Kind::values || incident.kind == Kind::removeDevice;
  if (isOfDevice && device == nullptr) return;
  std::string about;
  if (isOfDevice) about = " " + plan_.devices[number].name;
  if (incident.kind == Kind::command) about = " " + commandOf(incident.which, incident.choice);
  if (incident.kind == Kind::spoilValues) {
    about += ": " + faultOf(incident.which / 8, incident.choice);
  }
  tell(std::string("* ") + nameOf(incident.kind) + about);
  switch (incident.kind) {
    case Kind::vanish:
      device->isAdvertising = false;
      bluetoothd_.dropLink(*device);
      agenda_.after(incident.length, [device] { device->isAdvertising = true; });
      break;
    case Kind::loseLink:
      bluetoothd_.dropLink(*device);
      break;
    case Kind::spoilRequest:
      spoilt_.insert(number);
      spoilChoice_ = incident.choice;
      break;
    case Kind::spoilValues:
      models_[number]->control(faultOf(incident.which / 8, incident.choice));
      agenda_.after(incident.length, [this, number] { models_[number]->control("fault clear"); });
      break;
    case Kind::values:
      sendValues(number, incident.choice);
      break;
    case Kind::powerOff:
      bluetoothd_.setPowered(adapter, false);
      agenda_.after(incident.length, [this, adapter] { bluetoothd_.setPowered(adapter, true); });
      break;
    case Kind::unplug:
      bluetoothd_.unplug(adapter);
      agenda_.after(incident.length, [this, adapter] {
        if (!bluetoothd_.hasAdapter(adapter)) bluetoothd_.plug(adapter, true);
      });
      break;
    case Kind::stopStack:
      bluetoothd_.stop();
      agenda_.after(incident.length, [this] { bluetoothd_.start(); });
      break;
    case Kind::standStill:
      bluetoothd_.standStill(incident.length);
      break;
    case Kind::changeAlias:
      bluetoothd_.changeAlias(adapter);
      break;
    case Kind::discover:
      bluetoothd_.discoverForAnother(adapter, incident.choice % 2 == 0);
      agenda_.after(incident.length, [this, adapter, incident] {
        bluetoothd_.discoverForAnother(adapter, incident.choice % 2 != 0);
      });
      break;
    case Kind::removeDevice:
      bluetoothd_.remove(*device);
      break;
    case Kind::stallHost:
      isStalled_ = true;
      judge_.hostHasStalled();
      agenda_.after(incident.length, [this] {
        isStalled_ = false;
        judge_.hostHasStalled();
        tell("  the host reads on");
      });
      break;
    case Kind::command:
      commands_.push_back(commandOf(incident.which, incident.choice));
      // What it has just begun or ended, and perhaps once more.
      if (incident.choice % 4 == 1) commands_.push_back(commandOf(incident.which ^ 1U, 1));
      if (incident.choice % 16 == 1) commands_.push_back(commandOf(incident.which, 1));
      break;
    case Kind::loseBus:
      judge_.didLoseBus();
      bus_.hangUp();
      break;
    case Kind::restartBridge:
      isInputAtEnd_ = true;
      break;
    case Kind::killBridge:
      isKilled_ = true;
      break;
  }
  judge_.situationMayHaveChanged();
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
  bluetoothd_.wake(*bluetoothd_.devices()[number]);
}

lab::Witness::Fate World::fateOf(lab::RemoteDevice& device, std::string_view verb,
                                 std::string_view uuid) {
  for (std::size_t i = 0; i < plan_.devices.size(); ++i) {
    if (bluetoothd_.devices()[i].get() != &device || spoilt_.erase(i) == 0) continue;
    constexpr std::array kFates{Fate::refuse, Fate::drop, Fate::ignore};
    const Fate fate = kFates[spoilChoice_ % kFates.size()];
    tell("  spoilt: " + std::string(verb) + " " + std::string(uuid));
    judge_.didSpoil(device, std::string(uuid));
    return fate;
  }
  return Fate::serve;
}

// --- The bridge's life

void World::play() {
  while (!isOver_) {
    try {
      liveOnce();
    } catch (const Over&) {
    }
    commands_.clear();
    isInputAtEnd_ = isKilled_ = false;
    readOutput();
  }
}

void World::liveOnce() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) throw std::runtime_error("no pipe");
  fcntl(ends[1], F_SETPIPE_SZ, 4096);
  dup2(ends[1], STDOUT_FILENO);
  close(ends[1]);
  if (input_ >= 0) close(input_);
  input_ = ends[0];

  tell("the bridge starts");
  judge_.didStart();
  platform::bluez::BluezPlatform platform(std::make_unique<WorldClock>(*this));
  bus_.accept();
  output_ = std::make_unique<Output>(stdout);
  unread_.clear();
  platform.deliverInto(*output_);
  const auto bridge = std::make_unique<ComBLE>(platform);
  bridge_ = bridge.get();
  const auto end = [&] {
    bridge_ = nullptr;
    hasLeftCallback_ |= !isWaiting_;
    isWaiting_ = false;
    bus_.hangUp();
  };
  try {
    writeLine("Demarrage de Vornix 1.04");
    for (;;) turnRunLoop(platform, *bridge);
  } catch (const subject::ProcessEnded& how) {
    end();
    tell(how.hardStop ? "the bridge has stopped hard" : "the bridge has ended");
    letAllOut();
    if (!how.hardStop && !isStalled_ && !unread_.empty())
      throw Wrong("lost at the end: " + unread_);
    judge_.didEnd(how.hardStop);
  } catch (const Killed&) {
    end();
    judge_.wasKilled();
    unread_.clear();
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
  if (commands_.empty() && !isInputAtEnd_) return;
  if (!orderDice_.oneIn(3)) return;
  // The reader takes no command while something is held back; the end does not wait.
  const bool isTheEnd = commands_.empty() || commands_.front() == "kill";
  if (!isTheEnd && (isStalled_ || output_->holdsBack())) return;
  isActing_ = true;
  const struct Done {
    bool& flag;
    ~Done() { flag = false; }
  } done{isActing_};
  if (commands_.empty()) {
    judge_.willEndInput();
    throw subject::ProcessEnded{false};
  }
  const std::string command = commands_.front();
  commands_.pop_front();
  tell("< " + command);
  judge_.willDo(command);
  handleHostCommand(*static_cast<ComBLE*>(bridge_), command);
  judge_.didDo();
}

// --- Time

std::size_t World::wait(int epoll, Microseconds time, std::span<epoll_event> found, bool mayPass) {
  isWaiting_ = true;
  const std::size_t count = poll(epoll, time, found, mayPass);
  isWaiting_ = false;
  return count;
}

std::size_t World::poll(int epoll, Microseconds time, std::span<epoll_event> found, bool mayPass) {
  for (;;) {
    if (++turnsAtOnce_ > kMostTurnsAtOnce) throw Wrong("it turns without end");
    bus_.serve();
    readOutput();
    act();
    const int count = epoll_wait(epoll, found.data(), static_cast<int>(found.size()), 0);
    if (count > 0) {
      // In any order, and some of it a little later.
      for (std::size_t i = static_cast<std::size_t>(count) - 1; i > 0; --i) {
        std::swap(found[i], found[orderDice_.below(i + 1)]);
      }
      return 1 + orderDice_.below(static_cast<std::size_t>(count));
    }
    if (agenda_.now() >= time) {
      found[0] = {};
      return 1;
    }
    if (!mayPass) {
      step(agenda_.now() + kTurn);
      return 0;
    }
    if (!isStalled_ && !unread_.empty()) {
      const std::size_t before = unread_.size();
      readOutput();
      if (unread_.size() < before) continue;  // which makes room
    }
    if (canRest()) {
      if (!unread_.empty()) throw Wrong("is held back, though the host reads: " + unread_);
      judge_.isAtRest();
    }
    step(time);
  }
}

// The next thing happens, or so much time passes.
void World::step(Microseconds limit) {
  const auto next = agenda_.next();
  if (next && *next <= limit) {
    if (*next > agenda_.now()) turnsAtOnce_ = 0;
    agenda_.doNext();
  } else {
    if (limit > agenda_.now()) turnsAtOnce_ = 0;
    agenda_.passUntil(limit);
  }
  judge_.situationMayHaveChanged();
  if (isOver_ && judge_.isAlive()) judge_.isAtEnd();
  if (isOver_) throw Over();
}

void World::pass(Microseconds duration) {
  const Microseconds end = agenda_.now() + duration;
  while (agenda_.now() < end) {
    bus_.serve();
    readOutput();
    act();
    step(end);
  }
}

bool World::canRest() {
  return !isStalled_ && commands_.empty() && bluetoothd_.isIdle() && !bus_.serve();
}

// --- The host

void World::willWrite(std::string_view bytes) {
  act();
  // Some lines belong to one callback.
  writtenAtOnce_ = output_->holdsBack() && !isActing_ ? writtenAtOnce_ + 1 : 0;
  if (writtenAtOnce_ > kMostLinesAtOnce) throw Wrong("goes on telling a host that does not read");
  // Without the time, which is the machine's.
  const bool isLog = bytes.starts_with("<@") && bytes.size() > 17;
  tell("> " + std::string(isLog ? "<@" : "") +
       std::string(bytes.substr(isLog ? 14 : 0, bytes.size() - (isLog ? 15 : 1))));
  judge_.didWrite(bytes);
  unread_ += bytes;
}

void World::didWrite() {
  act();
}

// A host that stalls is not waited for: what waits for it in the product does so on the reader's
// thread, or before the end.
void World::letAllOut() {
  while (!isStalled_ && output_->holdsBack()) {
    readOutput();
    output_->letOut();
  }
  readOutput();
}

// The host gets every byte that was written, in order.
void World::readOutput() {
  if (isStalled_ || input_ < 0) return;
  std::array<char, 4096> bytes{};
  for (ssize_t size = 0; (size = ::read(input_, bytes.data(), bytes.size())) > 0;) {
    const std::string_view read(bytes.data(), static_cast<std::size_t>(size));
    if (!unread_.starts_with(read)) throw Wrong("the host reads something else");
    unread_.erase(0, read.size());
  }
}

void World::tell(const std::string& text) {
  if (!print_) return;
  char time[32];
  std::snprintf(time, sizeof(time), "%11.6f  ", std::chrono::duration<double>(now()).count());
  print_(time + text);
}

// --- What bluetoothd sees

void World::didHear(lab::RemoteDevice& device) {
  judge_.didHear(device);
}

void World::didLinkUp(lab::RemoteDevice& device) {
  tell("  link up: " + device.model().name());
  judge_.didLinkUp(device);
}

void World::didLinkDown(lab::RemoteDevice& device) {
  tell("  link down: " + device.model().name());
  judge_.didLinkDown(device);
}

void World::didRead(lab::RemoteDevice& device, std::string_view uuid, const lab::Bytes* value) {
  tell("  read " + std::string(uuid) + (value != nullptr ? hex(*value) : " refused"));
  judge_.didRead(device, std::string(uuid), value);
}

void World::didWrite(lab::RemoteDevice& device, std::string_view uuid, const lab::Bytes& value) {
  tell("  write " + std::string(uuid) + hex(value));
  judge_.didWrite(device, std::string(uuid), value);
}

void World::didAnswerSubscription(lab::RemoteDevice& device, std::string_view uuid, bool isMade) {
  tell("  subscription " + std::string(uuid) + (isMade ? " made" : " refused"));
  judge_.didAnswerSubscription(device, std::string(uuid), isMade);
}

void World::didEndSubscription(lab::RemoteDevice& device, std::string_view uuid) {
  tell("  subscription " + std::string(uuid) + " ends");
  judge_.didEndSubscription(device, std::string(uuid));
}

void World::didSendValue(lab::RemoteDevice& device, std::string_view uuid,
                         const lab::Bytes& value) {
  tell("  value " + std::string(uuid) + hex(value));
  judge_.didSendValue(device, std::string(uuid), value);
}

void World::didAsk(const std::string& path, const std::string& member) {
  tell("  " + member + " " + path);
  judge_.didAsk(path, member);
}

void World::didListObjects() {
  judge_.didListObjects();
}

}  // namespace world

// What the core takes for the process's output is the output of the bridge that lives. The linker
// puts these in the place of standardOutput(), Output::write() and Output::waitUntilOut().
Output& wrapStandardOutput() asm("__wrap__Z14standardOutputv");
extern "C" {
void __real__ZN6Output5writeESt17basic_string_viewIcSt11char_traitsIcEE(Output* output,
                                                                        std::string_view bytes);
void __wrap__ZN6Output5writeESt17basic_string_viewIcSt11char_traitsIcEE(Output* output,
                                                                        std::string_view bytes);
void __wrap__ZN6Output12waitUntilOutEv(Output* output);
}

Output& wrapStandardOutput() {
  return world::current->output();
}

extern "C" {
void __wrap__ZN6Output5writeESt17basic_string_viewIcSt11char_traitsIcEE(Output* output,
                                                                        std::string_view bytes) {
  world::current->willWrite(bytes);
  __real__ZN6Output5writeESt17basic_string_viewIcSt11char_traitsIcEE(output, bytes);
  world::current->didWrite();
}

void __wrap__ZN6Output12waitUntilOutEv(Output* /*output*/) {
  world::current->letAllOut();
}
}
