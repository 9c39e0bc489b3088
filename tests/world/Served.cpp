#include "tests/world/Served.h"

#include <algorithm>

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

Served::Served(const oracle::Family& family, lab::StackDevice& device, const std::string& name)
    : device_(device) {
  handler_ = family.make(expected_, {device.key(), name});
  if (!family.announcement.empty()) expected_.message(std::string(family.announcement));
  for (const std::string& entry : expected_.take()) {
    if (isLine(entry)) firstLines_.push_back(entry);
  }
  for (const oracle::Part& part : family.parts) {
    const auto& asked = handler_->model().services;
    if (std::ranges::find(asked, part.service) == asked.end()) continue;
    if (part.subscribe) subscriptions_.emplace_back(part.uuid);
    if (part.read) readings_.emplace_back(part.uuid);
  }
}

void Served::value(const std::string& uuid, std::optional<oracle::Bytes> value) {
  queues_[uuid].push_back({.value = std::move(value), .number = ++count_});
}

void Served::confirmation(const std::string& uuid, bool isMade, std::optional<Microseconds> due) {
  queues_[uuid].push_back({.value = std::nullopt,
                           .isConfirmation = true,
                           .isMade = isMade,
                           .due = due,
                           .number = ++count_});
}

void Served::postpone(Microseconds due) {
  for (auto& [uuid, events] : queues_) {
    for (Event& event : events) {
      if (event.due) event.due = due;
    }
  }
}

void Served::leaveLateOnesOpen() {
  for (auto& [uuid, events] : queues_) {
    for (Event& event : events) event.isOpen |= event.due.has_value();
  }
}

void Served::leaveOpen(const std::string& uuid) {
  for (Event& event : queues_[uuid]) event.isOpen = true;
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
  std::unique_ptr<oracle::Handler> later;  // after events of which nothing is said
  Queues laterQueues;
  for (;;) {
    const oracle::Handler& now = later != nullptr ? *later : *handler_;
    Queues& queues = later != nullptr ? laterQueues : queues_;
    const std::deque<Event>* silent = nullptr;
    const std::string* silentUuid = nullptr;
    for (auto& [uuid, events] : queues) {
      for (auto event = events.begin(); event != events.end(); ++event) {
        std::unique_ptr<oracle::Handler> next = now.copy();
        Outcome outcome = apply(*next, uuid, *event);
        if (!outcome.lines.empty() && matches(outcome.lines.front(), line)) {
          leaveOrderOpen(queues, event->number, now);
          events.erase(events.begin(), event + 1);
          handler_ = std::move(next);
          if (later != nullptr) queues_ = std::move(laterQueues);
          outcome.lines.erase(outcome.lines.begin());
          return outcome.lines;
        }
        const bool saysNothing = outcome.lines.empty() || event->wasPerhapsTaken;
        const bool isSilent = saysNothing && outcome.end == nullptr;
        const bool isFirst = event == events.begin();
        if (isSilent && isFirst && (silent == nullptr || event->number < silent->front().number)) {
          silent = &events;
          silentUuid = &uuid;
        }
        if (!event->isOpen) break;
      }
    }
    if (silent == nullptr) return std::nullopt;
    const std::string uuid = *silentUuid;
    if (later == nullptr) {
      later = handler_->copy();
      laterQueues = queues_;
    }
    std::deque<Event>& events = laterQueues[uuid];
    apply(*later, uuid, events.front());
    events.pop_front();
  }
}

// Values of one characteristic may overtake those of another. So what came before the event with
// this number, and said nothing then, may have been taken before it, and says nothing later either.
void Served::leaveOrderOpen(Queues& queues, std::size_t number,
                            const oracle::Handler& handler) const {
  for (auto& [uuid, events] : queues) {
    const std::unique_ptr<oracle::Handler> copy = handler.copy();
    for (Event& event : events) {
      if (event.number >= number) break;
      const Outcome outcome = apply(*copy, uuid, event);
      if (!outcome.lines.empty() || outcome.end != nullptr) break;
      event.wasPerhapsTaken = true;
    }
  }
}

bool Served::explainsEnd(const char* entry) const {
  for (const auto& [uuid, events] : queues_) {
    for (const Event& event : events) {
      const Outcome outcome = apply(*handler_->copy(), uuid, event);
      if (outcome.end == entry) return true;
      if (!outcome.lines.empty()) break;
    }
  }
  return false;
}

std::optional<std::string> Served::missing(Microseconds now) {
  for (auto& [uuid, events] : queues_) {
    if (auto line = missing(events, uuid, now)) return line;
  }
  return std::nullopt;
}

std::optional<std::string> Served::missing(std::deque<Event>& events, const std::string& uuid,
                                           Microseconds now) {
  while (!events.empty()) {
    const Event& event = events.front();
    if (!event.isOpen) {
      if (event.due && *event.due > now) return std::nullopt;
      const Outcome outcome = apply(*handler_, uuid, event);
      if (outcome.end != nullptr) return std::string("its end: ") + outcome.end;
      if (!outcome.lines.empty() && !event.wasPerhapsTaken) return outcome.lines.front();
    }
    events.pop_front();
  }
  return std::nullopt;
}

}  // namespace world
