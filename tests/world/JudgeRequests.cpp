// What the judge makes of commands and of what passes between the bridge and a device.
#include "tests/oracle/Identifiers.h"
#include "tests/oracle/Output.h"
#include "tests/world/Judge.h"

namespace world {

namespace {

using Is = Served::Is;

std::vector<std::string> fieldsOf(const std::string& line) {
  std::vector<std::string> fields(1);
  for (const char c : line) {
    if (c == ' ') {
      fields.emplace_back();
    } else {
      fields.back() += c;
    }
  }
  return fields;
}

std::optional<std::uint32_t> number(const std::string& text, std::uint64_t greatest) {
  if (text.empty() || text.size() > 10) return std::nullopt;
  std::uint64_t value = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') return std::nullopt;
    value = 10 * value + static_cast<std::uint64_t>(c - '0');
  }
  return value > greatest ? std::nullopt : std::optional(static_cast<std::uint32_t>(value));
}

}  // namespace

void Judge::willDo(const std::string& command) {
  using namespace oracle;
  const auto says = [&](const char* text, const char* log) {
    if (command != text) return false;
    commandDue_.push_back(logLine(log));
    return true;
  };
  const auto begins = [&](const char* text, const char* log) {
    if (!command.starts_with(text)) return false;
    commandDue_.push_back(logLine(log));
    return true;
  };
  if (says("kill", "cde : kill")) {
    mayExit_ = true;
  } else if (says("CV_debutCalib", "cde : start CV calibration")) {
    order(Family::corvelta, std::string(characCalibration), {1});
  } else if (says("CV_finCalib", "cde : stop CV calibration")) {
    order(Family::corvelta, std::string(characCalibration), {0});
  } else if (says("CV_debutAcquisition", "cde : start CV acquisition")) {
    order(Family::corvelta, std::string(characAcquisition), {1});
  } else if (says("CV_finAcquisition", "cde : stop CV acquistion")) {
    order(Family::corvelta, std::string(characAcquisition), {0});
  } else if (says("FX_startRaw", "cde : start raw")) {
    switchStream(std::string(characRaw), true);
  } else if (says("FX_stopRaw", "cde : stop raw")) {
    switchStream(std::string(characRaw), false);
  } else if (says("FX_startRaw2", "cde : start raw 2")) {
    switchStream(std::string(characRaw2), true);
  } else if (says("FX_stopRaw2", "cde : stop raw 2")) {
    switchStream(std::string(characRaw2), false);
  } else if (says("FX_getJson", "cde : get json")) {
    order(Family::fenwix, std::string(characCommand), {19, 0, 0});
  } else if (begins("FX_cmdWriteInt", "cde : Fenwix Cmd Write Int")) {
    commandFrame(command, true);
  } else if (begins("FX_cmdWriteByte", "cde : Fenwix Cmd Write Byte")) {
    commandFrame(command, false);
  } else {
    commandDue_.push_back(logLine("commande recue non traitee : " + command));
  }
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

void Judge::commandFrame(const std::string& line, bool isLong) {
  const auto fields = fieldsOf(line);
  if (fields.size() < 3) return mustStopUnless(Is::no);
  const auto code = number(fields[1], 255);
  const auto value = number(fields[2], isLong ? 0xFFFFFFFFU : 255);
  if (!code || !value) return mustStopUnless(Is::no);
  lab::Bytes frame{static_cast<std::uint8_t>(*code), static_cast<std::uint8_t>(isLong ? 4 : 1), 0};
  for (int i = 0; i < (isLong ? 4 : 1); ++i) {
    frame.push_back(static_cast<std::uint8_t>(*value >> (8 * i)));
  }
  order(Family::fenwix, std::string(oracle::characCommand), frame);
}

void Judge::order(Family family, const std::string& uuid, const lab::Bytes& bytes) {
  const auto found = served_.find(family);
  if (found == served_.end()) return mustStopUnless(Is::no);
  Served& served = *found->second;
  mustStopUnless(served.isTreeKnown);
  if (served.device().isConnected()) served.orders.emplace_back(uuid, bytes);
}

void Judge::switchStream(const std::string& uuid, bool isOn) {
  const auto found = served_.find(Family::fenwix);
  if (found == served_.end()) return mustStopUnless(Is::no);
  Served& served = *found->second;
  mustStopUnless(served.isTreeKnown);
  if (!isOn) served.leaveOpen(uuid);
  served.streams[uuid] = isOn;
}

// --- Devices

Served* Judge::servedBy(const lab::RemoteDevice& device) {
  if (!isAlive_) return nullptr;
  for (const auto& [family, served] : served_) {
    if (&served->device() == &device) return served.get();
  }
  return nullptr;
}

void Judge::didLinkUp(lab::RemoteDevice& device) {
  Served* served = servedBy(device);
  if (served == nullptr) return;
  ++served->links;
  served->upAt = agenda_.now();
}

void Judge::didLinkDown(lab::RemoteDevice& device) {
  if (Served* served = servedBy(device)) {
    ++served->losses;
    served->orders.clear();
    served->streams.clear();
    served->confirmed.clear();
  }
  std::erase_if(early_, [&](const auto& entry) { return entry.first.first == &device; });
}

// With it goes all that is known of devices: as if their links were lost.
void Judge::didLoseBus() {
  hasBus_ = false;
  for (const auto& [family, served] : served_) didLinkDown(served->device());
}

void Judge::didSpoil(lab::RemoteDevice& device, const std::string& uuid) {
  Served* served = servedBy(device);
  if (served == nullptr) return;
  served->isSpoilt = true;
  served->spoiltAt = agenda_.now();
  served->refused.insert(uuid);
}

void Judge::didRead(lab::RemoteDevice& device, const std::string& uuid, const lab::Bytes* value) {
  Served* served = servedBy(device);
  if (served == nullptr) return;
  ++served->reads[uuid];
  served->value(uuid, value != nullptr ? std::optional(*value) : std::nullopt);
}

void Judge::didWrite(lab::RemoteDevice& device, const std::string& uuid, const lab::Bytes& value) {
  Served* served = servedBy(device);
  if (served == nullptr) throw Wrong("an order to a device that is not served");
  if (served->orders.empty() || served->orders.front() != std::pair(uuid, value)) {
    throw Wrong("nobody has given this order to " + device.key());
  }
  served->orders.pop_front();
}

void Judge::didAnswerSubscription(lab::RemoteDevice& device, const std::string& uuid, bool isMade) {
  Served* served = servedBy(device);
  if (served == nullptr) return;
  served->confirmation(uuid, isMade);
  if (!isMade) return;
  served->confirmed.insert(uuid);
  const auto early = early_.extract({&device, uuid});
  if (early.empty()) return;
  for (const lab::Bytes& value : early.mapped()) didSendValue(device, uuid, value);
}

void Judge::didEndSubscription(lab::RemoteDevice& device, const std::string& uuid) {
  if (Served* served = servedBy(device)) served->confirmed.erase(uuid);
}

void Judge::didSendValue(lab::RemoteDevice& device, const std::string& uuid,
                         const lab::Bytes& value) {
  Served* served = servedBy(device);
  if (served == nullptr) return;
  if (!served->confirmed.contains(uuid)) return early_[{&device, uuid}].push_back(value);
  served->value(uuid, value);
  const auto stream = served->streams.find(uuid);
  if (stream != served->streams.end() && !stream->second) served->leaveOpen(uuid);
}

}  // namespace world
