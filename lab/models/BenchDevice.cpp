#include "lab/models/BenchDevice.h"

#include <algorithm>
#include <numeric>
#include <tuple>
#include <utility>

#include "lab/Text.h"

namespace lab {
namespace {

constexpr std::string_view kServiceChanged = "2A05";

}  // namespace

bool BenchDevice::control(std::string_view line) {
  const auto [verb, argument] = splitAt(line, ' ');
  if (controlled(verb, argument)) return true;
  if (verb == "fault") return controlFault(argument);
  if (verb == "rate") return controlRate(argument);
  if (verb == "value" || verb == "send") return controlValue(verb, argument);
  if (verb == "battery") return controlBattery(argument);
  if (verb == "withdraw") return withdraw(argument);
  if (verb == "service-changed" && argument.empty() && link_ == nullptr) {
    addService("1801");
    addCharacteristic({.uuid = std::string(kServiceChanged), .indicate = true});
    return true;
  }
  if (verb == "name") {
    name_ = argument;
    return true;
  }
  if (verb == "stream" && (argument == "on" || argument == "off")) {
    areStreamsOn_ = argument == "on";
    for (Entry& entry : entries_) updateRun(entry);
    return true;
  }
  const std::optional<std::uint32_t> count = toNumber(argument);
  if (verb != "count" || !count) return false;
  for (Entry& entry : entries_) {
    if (entry.stream) entry.stream->setCount(count);
  }
  return true;
}

void BenchDevice::connected(Link& link) {
  link_ = &link;
}

void BenchDevice::disconnected() {
  link_ = nullptr;
  posted_.clear();
  for (Entry& entry : entries_) {
    entry.isSubscribed = false;
    updateRun(entry);
  }
  showTree();
}

ReadResult BenchDevice::read(CharacteristicIndex characteristic) {
  const Entry& entry = entries_[visibleIds_.at(characteristic)];
  const AttError refusal = faults_.onRead(entry.uuid);
  if (refusal != AttError::none) return refusal;
  return faults_.spoil(entry.uuid, entry.value);
}

AttError BenchDevice::write(CharacteristicIndex characteristic,
                            std::span<const std::uint8_t> value) {
  const Id id = visibleIds_.at(characteristic);
  const AttError refusal = faults_.onWrite(entries_[id].uuid);
  return refusal == AttError::none ? written(id, value) : refusal;
}

AttError BenchDevice::subscribe(CharacteristicIndex characteristic, bool enabled) {
  Entry& entry = entries_[visibleIds_.at(characteristic)];
  const AttError refusal = enabled ? faults_.onSubscribe(entry.uuid) : AttError::none;
  if (refusal != AttError::none) return refusal;
  entry.isSubscribed = enabled;
  updateRun(entry);
  return AttError::none;
}

// Posted values and stream values take turns, so that neither kind holds up the other.
std::optional<Microseconds> BenchDevice::advance(Microseconds now) {
  for (Entry& entry : entries_) {
    if (entry.stream) entry.stream->advance(now);
  }
  while (link_ != nullptr) {
    const bool hadPosted = !posted_.empty();
    if (hadPosted && !deliverPosted()) return std::nullopt;
    const std::optional<Id> id = nextDue();
    if (!id || entries_[*id].stream->dueAt() > now) {
      if (hadPosted) continue;
      return id ? entries_[*id].stream->dueAt() : std::nullopt;
    }
    Stream& stream = *entries_[*id].stream;
    if (!deliver(*id, sample(*id, stream.sequence()))) return std::nullopt;
    stream.sent();
  }
  return std::nullopt;
}

void BenchDevice::addService(std::string uuid) {
  openService_ = std::move(uuid);
}

BenchDevice::Id BenchDevice::addCharacteristic(Characteristic characteristic, Bytes value) {
  const Uuid uuid = Uuid::parse(characteristic.uuid).value();
  entries_.push_back({.uuid = uuid,
                      .service = openService_,
                      .declared = std::move(characteristic),
                      .value = std::move(value),
                      .stream = std::nullopt,
                      .index = std::nullopt});
  showTree();
  return entries_.size() - 1;
}

BenchDevice::Id BenchDevice::addStream(Characteristic characteristic, double perSecond) {
  const Id id = addCharacteristic(std::move(characteristic));
  entries_[id].stream.emplace(perSecond);
  return id;
}

void BenchDevice::gate(Id stream, bool isOpen) {
  entries_[stream].isOpen = isOpen;
  updateRun(entries_[stream]);
}

void BenchDevice::setValue(Id id, Bytes value) {
  entries_[id].value = std::move(value);
  post(id, entries_[id].value);
}

void BenchDevice::post(Id id, Bytes value) {
  if (entries_[id].isSubscribed) posted_.push_back({id, std::move(value)});
}

AttError BenchDevice::written(Id, std::span<const std::uint8_t>) {
  return AttError::none;
}

bool BenchDevice::controlled(std::string_view, std::string_view) {
  return false;
}

bool BenchDevice::setFault(std::string_view, std::string_view) {
  return false;
}

// In the order in which they were added, except those that a fault puts last.
std::vector<BenchDevice::Id> BenchDevice::treeOrder() const {
  std::vector<Id> order(entries_.size());
  std::iota(order.begin(), order.end(), Id{0});
  std::ranges::sort(order, {}, [this](Id id) {
    const Entry& entry = entries_[id];
    const auto first = std::ranges::find(entries_, entry.service, &Entry::service);
    return std::tuple(faults_.isLast(Uuid::parse(entry.service).value()), first - entries_.begin(),
                      faults_.isLast(entry.uuid), id);
  });
  return order;
}

void BenchDevice::showTree() {
  visible_.clear();
  visibleIds_.clear();
  std::string last;
  for (const Id id : treeOrder()) {
    Entry& entry = entries_[id];
    entry.index.reset();
    if (faults_.hides(Uuid::parse(entry.service).value())) continue;
    if (std::exchange(last, entry.service) != entry.service)
      visible_.push_back({entry.service, {}});
    if (faults_.hides(entry.uuid)) continue;
    visible_.back().characteristics.push_back(entry.declared);
    entry.index = visibleIds_.size();
    visibleIds_.push_back(id);
  }
}

void BenchDevice::updateRun(Entry& entry) {
  if (entry.stream) entry.stream->run(entry.isSubscribed && entry.isOpen && areStreamsOn_);
}

bool BenchDevice::deliver(Id id, Bytes value) {
  const Entry& entry = entries_[id];
  return link_->notify(*entry.index, faults_.spoil(entry.uuid, std::move(value)));
}

bool BenchDevice::deliverPosted() {
  if (!deliver(posted_.front().id, posted_.front().value)) return false;
  // Sending may have ended the link, which empties the queue.
  if (!posted_.empty()) posted_.pop_front();
  return true;
}

std::optional<BenchDevice::Id> BenchDevice::nextDue() const {
  std::optional<Id> next;
  for (Id id = 0; id < entries_.size(); ++id) {
    const std::optional<Stream>& stream = entries_[id].stream;
    if (!stream || !stream->dueAt()) continue;
    if (!next || *stream->dueAt() < *entries_[*next].stream->dueAt()) next = id;
  }
  return next;
}

std::optional<BenchDevice::Id> BenchDevice::find(std::string_view uuid) const {
  const std::optional<Uuid> wanted = Uuid::parse(uuid);
  const auto found =
      std::ranges::find_if(entries_, [&](const Entry& entry) { return entry.uuid == wanted; });
  if (found == entries_.end()) return std::nullopt;
  return static_cast<Id>(found - entries_.begin());
}

bool BenchDevice::controlRate(std::string_view argument) {
  const auto [first, second] = splitAt(argument, ' ');
  const bool isForOne = !second.empty();
  const std::optional<std::uint32_t> rate = toNumber(isForOne ? second : first);
  const std::optional<Id> one = find(first);
  if (!rate || (isForOne && (!one || !entries_[*one].stream))) return false;
  for (Entry& entry : entries_) {
    const bool isMeant = !isForOne || &entry == &entries_[*one];
    if (entry.stream && isMeant) entry.stream->setRate(*rate);
  }
  return true;
}

bool BenchDevice::controlValue(std::string_view verb, std::string_view argument) {
  const auto [uuid, hex] = splitAt(argument, ' ');
  const std::optional<Id> id = find(uuid);
  std::optional<Bytes> value = fromHex(hex);
  if (!id || !value) return false;
  if (verb == "value") {
    setValue(*id, std::move(*value));
  } else {
    post(*id, std::move(*value));
  }
  return true;
}

bool BenchDevice::controlBattery(std::string_view argument) {
  const std::optional<Id> id = find("2A19");
  const std::optional<std::uint32_t> level = toNumber(argument);
  if (!id || !level || *level > 0xFF) return false;
  setValue(*id, {static_cast<std::uint8_t>(*level)});
  return true;
}

bool BenchDevice::withdraw(std::string_view service) {
  const std::optional<Id> serviceChanged = find(kServiceChanged);
  if (link_ == nullptr || !serviceChanged) return false;
  std::optional<Bytes> handles = link_->withdraw(service);
  if (handles) post(*serviceChanged, std::move(*handles));
  return handles.has_value();
}

bool BenchDevice::controlFault(std::string_view argument) {
  const auto [name, detail] = splitAt(argument, '=');
  if (argument == "clear") {
    faults_ = ModelFaults();
    clearFaults();
  } else if (!setFault(name, detail) && !faults_.set(name, detail)) {
    return false;
  }
  if (link_ == nullptr) showTree();
  return true;
}

}  // namespace lab
