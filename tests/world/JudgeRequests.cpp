// What the judge makes of commands and of what passes between the bridge and a device.
#include "tests/oracle/Commands.h"
#include "tests/oracle/Output.h"
#include "tests/world/Judge.h"

namespace world {

namespace {

using namespace std::chrono_literals;

using Is = Served::Is;

// bluetoothd may keep a refusal to itself. After so long without one the bridge takes it for given,
// counted from the last that it asked of the device.
constexpr Microseconds kUntoldRefusal = 37s;

// Of values, in bytes, while the host stalls: 64 MiB are held for it, with what holding them takes.
// A little more waits in the stack.
constexpr std::size_t kMostTaken = std::size_t{65} << 20;
constexpr std::size_t kLeastTaken = std::size_t{48} << 20;

}  // namespace

void Judge::willDo(const std::string& line) {
  const oracle::Command* command = oracle::commandOf(line);
  if (command == nullptr) {
    commandDue_.push_back(oracle::logLine("commande recue non traitee : " + line));
    return;
  }
  commandDue_.push_back(oracle::logLine(std::string(command->log)));
  if (command->act == oracle::Command::Act::end) {
    mayExit_ = true;
    return;
  }
  const auto bytes = oracle::bytesOf(*command, line);
  const auto found = served_.find(command->family->name);
  if (!bytes || found == served_.end()) return mustStopUnless(Is::no);
  const std::string uuid(command->uuid);
  if (command->act == oracle::Command::Act::write) return order(*found->second, uuid, *bytes);
  switchStream(*found->second, uuid, command->act == oracle::Command::Act::subscribe);
}

void Judge::didDo() {
  if (!commandDue_.empty()) throw Wrong("the command was not told of: " + commandDue_.front());
  if (mustStop_) throw Wrong("it had to stop, and goes on");
  mayStop_ = false;
}

void Judge::mustStopUnless(Is is) {
  if (is == Is::no) mustStop_ = true;
  if (is == Is::maybe) mayStop_ = true;
}

void Judge::order(Served& served, const std::string& uuid, const lab::Bytes& bytes) {
  mustStopUnless(served.isTreeKnown);
  if (!served.device().isConnected()) return;
  Served::Order order{uuid, bytes, {}};
  for (const auto& [stream, isOn] : served.streams) {
    if (!isOn && served.confirmed.contains(stream)) order.ends.push_back(stream);
  }
  served.orders.push_back(std::move(order));
}

void Judge::switchStream(Served& served, const std::string& uuid, bool isOn) {
  mustStopUnless(served.isTreeKnown);
  if (!isOn) served.leaveOpen(uuid);
  served.streams[uuid] = isOn;
}

// --- Devices

Served* Judge::servedBy(const lab::StackDevice& device) {
  if (!isAlive_) return nullptr;
  for (const auto& [family, served] : served_) {
    if (&served->device() == &device) return served.get();
  }
  return nullptr;
}

// Of one that a bridge before this one asked for, too: that it is connected tells as much as that
// it advertises.
void Judge::didLinkUp(lab::StackDevice& device) {
  if (radio_.habits.reportsLinks) see(device);
  Served* served = servedBy(device);
  if (served == nullptr) return;
  ++served->links;
  served->upAt = agenda_.now();
}

void Judge::didLinkDown(lab::StackDevice& device) {
  if (Served* served = servedBy(device)) {
    ++served->losses;
    served->leaveLateOnesOpen();
    served->orders.clear();
    served->streams.clear();
    served->confirmed.clear();
    served->renewed.clear();
  }
  std::erase_if(early_, [&](const auto& entry) { return entry.first.first == &device; });
}

// With it goes all that is known of devices: as if their links were lost.
void Judge::didLoseStack() {
  for (const auto& [family, served] : served_) didLinkDown(served->device());
}

// The bridge asks once. The stack forgets the request when it has failed or when its radio is lost,
// and only in the second case is it to be made again.
void Judge::didAskToConnect(lab::StackDevice& device) {
  const Served* served = servedBy(device);
  if (served == nullptr) throw Wrong("connects to what it does not serve: " + device.key());
  if (device.isBeingConnected()) throw Wrong("connects twice at once to " + device.key());
  if (served->links > 0) throw Wrong("connects again to " + device.key());
  if (served->hasFailedToConnect) throw Wrong("connects to what has failed: " + device.key());
}

void Judge::didFailToConnect(lab::StackDevice& device) {
  if (Served* served = servedBy(device)) served->hasFailedToConnect = true;
}

void Judge::didFailToDiscover(lab::StackDevice& device) {
  if (Served* served = servedBy(device)) ++served->failedDiscoveries;
}

void Judge::didShowCharacteristics(lab::StackDevice& device) {
  Served* served = servedBy(device);
  if (served != nullptr && served->isTreeKnown == Is::no) served->isTreeKnown = Is::maybe;
}

void Judge::didInvalidateServices(lab::StackDevice& device) {
  Served* served = servedBy(device);
  if (served == nullptr) return;
  served->hasChanged = true;
  served->renewed = served->confirmed;
}

void Judge::didSpoil(lab::StackDevice& device, const std::string& uuid) {
  Served* served = servedBy(device);
  if (served == nullptr) return;
  served->isSpoilt = true;
  served->isDiscoverySpoilt |= uuid.empty();
  served->spoiltAt = agenda_.now();
  served->refused.insert(uuid);
}

void Judge::didRead(lab::StackDevice& device, const std::string& uuid, const lab::Bytes* value) {
  Served* served = servedBy(device);
  if (served == nullptr) return;
  ++served->reads[uuid];
  served->postpone(agenda_.now() + kUntoldRefusal);
  served->value(uuid, value != nullptr ? std::optional(*value) : std::nullopt);
}

void Judge::didWrite(lab::StackDevice& device, const std::string& uuid, const lab::Bytes& value) {
  Served* served = servedBy(device);
  if (served == nullptr) throw Wrong("an order to a device that is not served");
  takeOrder(*served, uuid, value);
  served->postpone(agenda_.now() + kUntoldRefusal);
}

void Judge::didLoseWrite(lab::StackDevice& device, const std::string& uuid,
                         const lab::Bytes& value) {
  if (Served* served = servedBy(device)) takeOrder(*served, uuid, value);
}

void Judge::takeOrder(Served& served, const std::string& uuid, const lab::Bytes& value) {
  if (served.orders.empty() || served.orders.front().uuid != uuid ||
      served.orders.front().bytes != value) {
    throw Wrong("nobody has given this order to " + served.device().key());
  }
  for (const std::string& stream : served.orders.front().ends) {
    if (served.device().isSubscribed(stream)) throw Wrong("an order overtook the end of " + stream);
  }
  served.orders.pop_front();
}

void Judge::didAnswerSubscription(lab::StackDevice& device, const std::string& uuid, bool isMade) {
  Served* served = servedBy(device);
  if (served == nullptr) return;
  if (served->renewed.erase(uuid) > 0) {
    if (!isMade) served->confirmed.erase(uuid);
    return;
  }
  served->postpone(agenda_.now() + kUntoldRefusal);
  const bool isTold = isMade || radio_.habits.tellsRefusals;
  served->confirmation(uuid, isMade,
                       isTold ? std::nullopt : std::optional(agenda_.now() + kUntoldRefusal));
  if (!isMade) return;
  served->confirmed.insert(uuid);
  const auto early = early_.extract({&device, uuid});
  if (early.empty()) return;
  for (const lab::Bytes& value : early.mapped()) didSendValue(device, uuid, value);
}

void Judge::didEndSubscription(lab::StackDevice& device, const std::string& uuid) {
  if (Served* served = servedBy(device)) served->confirmed.erase(uuid);
}

void Judge::didSendValue(lab::StackDevice& device, const std::string& uuid,
                         const lab::Bytes& value) {
  if (takenInStall_ && (*takenInStall_ += value.size()) > kMostTaken) {
    throw Wrong("takes more and more for a host that does not read");
  }
  Served* served = servedBy(device);
  if (served == nullptr) return;
  if (!served->confirmed.contains(uuid)) return early_[{&device, uuid}].push_back(value);
  served->value(uuid, value);
  const auto stream = served->streams.find(uuid);
  if (stream != served->streams.end() && !stream->second) served->leaveOpen(uuid);
}

void Judge::hostDidStall() {
  lastStall_ = agenda_.now();
  takenInStall_ = 0;
}

void Judge::hostDidReadOn() {
  lastStall_ = agenda_.now();
  takenInStall_.reset();
}

void Judge::didComeLate() {
  lastStall_ = agenda_.now();
}

void Judge::didLoseValue() const {
  if (takenInStall_.value_or(0) < kLeastTaken) throw Wrong("does not take what comes");
}

}  // namespace world
