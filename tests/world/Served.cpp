#include "tests/world/Served.h"

#include <algorithm>

#include "tests/oracle/Identifiers.h"

namespace world {

namespace {

bool begins(const std::string& text, std::string_view beginning) {
  return text.starts_with(beginning);
}

bool isLine(const std::string& entry) {
  return begins(entry, "<");
}

// The words of an error are the system's own.
const std::string kRefused = "\x01";

}  // namespace

std::optional<Family> familyOf(const std::string& key) {
  for (const char* name : {"dorvane", "tramsel"}) {
    if (begins(key, name)) return Family::tramsel;
  }
  for (const char* name : {"ilo", "pelko", "pelk0", "tenoval", "kvaltrin"}) {
    if (begins(key, name)) return Family::sonde;
  }
  if (begins(key, "tarvix")) return Family::corvelta;
  if (begins(key, "nomsuel")) return Family::fenwix;
  return std::nullopt;
}

Served::Served(Family family, lab::RemoteDevice& device, const std::string& name)
    : family_(family), device_(device) {
  const oracle::Device described{device.key(), name};
  switch (family) {
    case Family::tramsel:
      handler_ = std::make_unique<oracle::Tramsel>(expected_, described);
      expected_.message("C;3;0;");
      break;
    case Family::sonde:
      handler_ = std::make_unique<oracle::Sonde>(expected_, described);
      break;
    case Family::corvelta:
      handler_ = std::make_unique<oracle::Corvelta>(expected_, described);
      break;
    case Family::fenwix:
      handler_ = std::make_unique<oracle::Fenwix>(expected_, described);
      break;
  }
  for (const std::string& entry : expected_.take()) {
    if (isLine(entry)) firstLines_.push_back(entry);
  }
}

bool Served::isIlo() const {
  return family_ == Family::sonde && static_cast<const oracle::Sonde&>(*handler_).isIlo();
}

std::vector<std::string> Served::subscriptions() const {
  using namespace oracle;
  const auto list = [](std::initializer_list<std::string_view> uuids) {
    return std::vector<std::string>(uuids.begin(), uuids.end());
  };
  if (family_ == Family::tramsel) return list({characTramsel, characBatt});
  if (isIlo()) return list({characIlo});
  if (family_ == Family::sonde) return list({characTenoval, characBatt});
  if (family_ == Family::fenwix) return list({characRms, characRms2, characCommand, characBatt});
  return list({characSecteur, characContractions, characNewCalibration, characErreur});
}

std::vector<std::string> Served::readings() const {
  using namespace oracle;
  const auto list = [](std::initializer_list<std::string_view> uuids) {
    return std::vector<std::string>(uuids.begin(), uuids.end());
  };
  if (isIlo()) return {};
  if (family_ == Family::corvelta) return list({characBatt, characSecteur, characFirmwareText});
  if (family_ != Family::fenwix) return list({characBatt});
  return list({characBatt, characBattHealth, characModele, characFirmware, characHardware,
               characSerial, characSystid});
}

void Served::value(const std::string& uuid, std::optional<oracle::Bytes> value) {
  queues_[uuid].push_back({.value = std::move(value), .number = ++count_});
}

void Served::confirmation(const std::string& uuid, bool isMade) {
  queues_[uuid].push_back(
      {.value = std::nullopt, .isConfirmation = true, .isMade = isMade, .number = ++count_});
}

void Served::leaveOpen(const std::string& uuid) {
  for (Event& event : queues_[uuid]) event.isOpen = true;
}

std::unique_ptr<oracle::Handler> Served::copyOf(const oracle::Handler& handler) const {
  switch (family_) {
    case Family::tramsel:
      return std::make_unique<oracle::Tramsel>(static_cast<const oracle::Tramsel&>(handler));
    case Family::sonde:
      return std::make_unique<oracle::Sonde>(static_cast<const oracle::Sonde&>(handler));
    case Family::corvelta:
      return std::make_unique<oracle::Corvelta>(static_cast<const oracle::Corvelta&>(handler));
    case Family::fenwix:
      break;
  }
  return std::make_unique<oracle::Fenwix>(static_cast<const oracle::Fenwix&>(handler));
}

Served::Outcome Served::apply(oracle::Handler& handler, const std::string& uuid,
                              const Event& event) const {
  Outcome outcome;
  try {
    if (event.isConfirmation) {
      const oracle::Failure refusal{"", 0, kRefused};
      handler.notificationStateUpdated(
          uuid, event.isMade ? std::nullopt : std::optional<oracle::Failure>(refusal));
    } else {
      handler.valueUpdated(uuid, event.value);
    }
  } catch (const oracle::Ended&) {
  }
  for (const std::string& entry : expected_.take()) {
    if (entry == oracle::hardStopEntry) outcome.end = oracle::hardStopEntry;
    if (entry == oracle::exitEntry) outcome.end = oracle::exitEntry;
    if (isLine(entry)) outcome.lines.push_back(entry);
  }
  return outcome;
}

bool Served::matches(const std::string& expected, const std::string& line) {
  const std::size_t words = expected.find(kRefused);
  return words == std::string::npos ? expected == line : begins(line, expected.substr(0, words));
}

// The line is what the first event of some characteristic makes the handler say, perhaps after
// events of others of which nothing is said. What is open may have been left out.
std::optional<std::vector<std::string>> Served::explain(const std::string& line) {
  std::unique_ptr<oracle::Handler> now = copyOf(*handler_);
  Queues rest = queues_;
  for (;;) {
    std::deque<Event>* silent = nullptr;
    const std::string* silentUuid = nullptr;
    for (auto& [uuid, events] : rest) {
      for (auto event = events.begin(); event != events.end(); ++event) {
        std::unique_ptr<oracle::Handler> next = copyOf(*now);
        Outcome outcome = apply(*next, uuid, *event);
        if (!outcome.lines.empty() && matches(outcome.lines.front(), line)) {
          events.erase(events.begin(), event + 1);
          handler_ = std::move(next);
          queues_ = std::move(rest);
          outcome.lines.erase(outcome.lines.begin());
          return outcome.lines;
        }
        const bool isSilent = outcome.lines.empty() && outcome.end == nullptr;
        const bool isFirst = event == events.begin();
        if (isSilent && isFirst && (silent == nullptr || event->number < silent->front().number)) {
          silent = &events;
          silentUuid = &uuid;
        }
        if (!event->isOpen) break;
      }
    }
    if (silent == nullptr) return std::nullopt;
    apply(*now, *silentUuid, silent->front());
    silent->pop_front();
  }
}

bool Served::explainsEnd(const char* entry) const {
  std::unique_ptr<oracle::Handler> now = copyOf(*handler_);
  Queues rest = queues_;
  for (auto& [uuid, events] : rest) {
    for (const Event& event : events) {
      const Outcome outcome = apply(*copyOf(*now), uuid, event);
      if (outcome.end == entry) return true;
      if (!outcome.lines.empty()) break;
    }
  }
  return false;
}

std::optional<std::string> Served::missing() {
  for (auto& [uuid, events] : queues_) {
    for (const Event& event : events) {
      if (event.isOpen) continue;
      const Outcome outcome = apply(*handler_, uuid, event);
      if (outcome.end != nullptr) return std::string("its end: ") + outcome.end;
      if (!outcome.lines.empty()) return outcome.lines.front();
    }
    events.clear();
  }
  return std::nullopt;
}

}  // namespace world
