#include "tests/oracle/subject/Twin.h"

#include <algorithm>

#include "HostCommands.h"
#include "RunLoop.h"
#include "tests/oracle/Identifiers.h"
#include "tests/oracle/subject/Endings.h"
#include "tests/oracle/subject/StandardStreams.h"

namespace subject {

namespace {

// Replaces a valid time stamp, "<@hh:mm:ss.mmm : ", by "<@time : "; anything else stays and will
// differ from the oracle's.
std::string withoutTime(const std::string& entry) {
  const std::string pattern = "<@29:59:59.999 : ";  // the greatest digit at each place
  if (entry.size() < pattern.size()) return entry;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    const bool isDigit = pattern[i] >= '0' && pattern[i] <= '9';
    if (isDigit ? entry[i] < '0' || entry[i] > pattern[i] : entry[i] != pattern[i]) return entry;
  }
  if (entry.compare(2, 2, "24") >= 0 && entry[2] == '2') return entry;
  return "<@time : " + entry.substr(pattern.size());
}

// The state's name is not compared.
std::string withoutStateName(const std::string& entry) {
  const std::string start = "<@time : manager state update : ";
  return entry.compare(0, start.size(), start) == 0 ? start + "state>\n" : entry;
}

std::string listed(const char* who, const Entries& entries) {
  std::string text = who;
  for (const std::string& entry : entries) text += "\n  [" + entry + "]";
  return text + "\n";
}

std::vector<std::pair<platform::CBUUID, std::string>> identifiersOf(
    std::span<const std::string_view> texts) {
  std::vector<std::pair<platform::CBUUID, std::string>> identifiers;
  for (const auto text : texts) {
    identifiers.emplace_back(platform::CBUUID::parse(text).value(), oracle::printed(text));
  }
  return identifiers;
}

std::optional<platform::Error> errorOf(const std::optional<oracle::Failure>& failure) {
  if (!failure) return std::nullopt;
  return platform::Error{failure->domain, failure->code, failure->message};
}

const platform::Error* pointer(const std::optional<platform::Error>& error) {
  return error ? &*error : nullptr;
}

}  // namespace

Twin::Twin() : platform_(entries_), peers_(deviceCount), bridge_(platform_), model_(expected_) {}

Twin::Peer& Twin::peer(std::size_t device) {
  // Computed once, since a twin is made for every play.
  static const auto services = identifiersOf(oracle::everyService());
  static const auto characteristics = identifiersOf(oracle::everyCharacteristic());

  Peer& peer = peers_.at(device);
  if (peer.peripheral) return peer;
  peer.peripheral = std::make_shared<RecordedPeripheral>(entries_, "p" + std::to_string(device));
  for (const auto& [uuid, label] : services) {
    peer.services.push_back(std::make_unique<RecordedService>(uuid, label));
  }
  for (const char* copy : {".0", ".1"}) {
    for (const auto& [uuid, label] : characteristics) {
      peer.characteristics.push_back(std::make_unique<RecordedCharacteristic>(uuid, label + copy));
    }
  }
  return peer;
}

RecordedCharacteristic& Twin::characteristicOf(Peer& peer, CharacteristicId id) {
  return *peer.characteristics.at(id.copy * oracle::everyCharacteristic().size() + id.place);
}

oracle::Device Twin::deviceOf(const Peer& peer) const {
  return {peer.peripheral->label(), peer.peripheral->name()};
}

oracle::Characteristic Twin::modelOf(const RecordedCharacteristic& object, std::size_t place) {
  return {object.label(), oracle::everyCharacteristic().at(place)};
}

void Twin::both(const std::function<void()>& core, const std::function<void()>& model) {
  if (ended_) throw Difference("the process has ended already");
  bool expectedEnd = false;
  try {
    model();
  } catch (const oracle::Ended&) {
    expectedEnd = true;
  }
  entries_.clear();
  try {
    const CapturedOutput output(entries_);
    core();
  } catch (const ProcessEnded& end) {
    entries_.emplace_back(end.hardStop ? oracle::hardStopEntry : oracle::exitEntry);
    ended_ = true;
  }
  for (std::string& entry : entries_) entry = withoutStateName(withoutTime(entry));
  const Entries expected = expected_.take();
  if (entries_ != expected || ended_ != expectedEnd) {
    throw Difference(listed("expected:", expected) + listed("seen:", entries_));
  }
}

void Twin::toHandler(std::size_t device,
                     const std::function<void(platform::CBPeripheralDelegate&, Peer&)>& core,
                     const std::function<void(oracle::Handler&)>& model) {
  Peer& receiver = peer(device);
  platform::CBPeripheralDelegate* delegate = receiver.peripheral->delegate();
  oracle::Handler* handler = model_.delegateOf(receiver.peripheral->label());
  if ((delegate == nullptr) != (handler == nullptr)) throw Difference("a handler too few or many");
  if (delegate == nullptr) return;
  both([&] { core(*delegate, receiver); }, [&] { model(*handler); });
}

void Twin::stateUpdated(int state) {
  auto& central = static_cast<RecordedCentral&>(*bridge_.manager);
  central.setState(static_cast<platform::CBManagerState>(state));
  both([&] { bridge_.centralManagerDidUpdateState(central); }, [&] { model_.stateUpdated(state); });
}

void Twin::discovered(std::size_t device, const std::optional<std::string>& name) {
  Peer& found = peer(device);
  found.peripheral->setName(name);
  both([&] { bridge_.centralManagerDidDiscover(*bridge_.manager, found.peripheral); },
       [&] { model_.discovered(deviceOf(found), platform_.now()); });
}

void Twin::connected(std::size_t device) {
  Peer& found = peer(device);
  both([&] { bridge_.centralManagerDidConnect(*bridge_.manager, found.peripheral); },
       [&] { model_.connected(deviceOf(found)); });
}

void Twin::secondPassed(double more) {
  platform_.setNow(platform_.now() + more);
  const double end = platform_.now() + 1.0;
  both([&] { turnRunLoop(platform_, bridge_); }, [&] { model_.secondPassed(end); });
}

void Twin::servicesDiscovered(std::size_t device,
                              const std::optional<std::vector<std::size_t>>& places,
                              const std::optional<oracle::Failure>& failure) {
  Peer& owner = peer(device);
  oracle::Discovery discovery{std::nullopt, failure};
  std::optional<std::vector<platform::CBService*>> list;
  if (places) {
    discovery.services.emplace();
    list.emplace();
    for (const std::size_t place : *places) {
      list->push_back(owner.services.at(place).get());
      discovery.services->push_back(
          {owner.services[place]->label(), oracle::everyService().at(place), std::nullopt});
    }
  }
  owner.peripheral->setServices(list);
  const auto error = errorOf(failure);
  toHandler(
      device,
      [&](auto& delegate, Peer& peer) {
        delegate.peripheralDidDiscoverServices(*peer.peripheral, pointer(error));
      },
      [&](oracle::Handler& handler) {
        handler.renamed(owner.peripheral->name());
        handler.servicesDiscovered(discovery);
      });
}

void Twin::characteristicsDiscovered(std::size_t device, std::size_t service,
                                     const std::optional<std::vector<CharacteristicId>>& found,
                                     const std::optional<oracle::Failure>& failure) {
  Peer& owner = peer(device);
  RecordedService& object = *owner.services.at(service);
  oracle::Service model{object.label(), oracle::everyService().at(service), std::nullopt};
  std::optional<std::vector<platform::CBCharacteristic*>> list;
  if (found) {
    list.emplace();
    model.characteristics.emplace();
    for (const CharacteristicId id : *found) {
      RecordedCharacteristic& characteristic = characteristicOf(owner, id);
      list->push_back(&characteristic);
      model.characteristics->push_back(modelOf(characteristic, id.place));
    }
  }
  object.setCharacteristics(list);
  const auto error = errorOf(failure);
  toHandler(
      device,
      [&](auto& delegate, Peer& peer) {
        delegate.peripheralDidDiscoverCharacteristicsFor(*peer.peripheral, object, pointer(error));
      },
      [&](oracle::Handler& handler) { handler.characteristicsDiscovered(model); });
}

void Twin::valueUpdated(std::size_t device, CharacteristicId id,
                        const std::optional<oracle::Bytes>& value,
                        const std::optional<oracle::Failure>& failure) {
  RecordedCharacteristic& characteristic = characteristicOf(peer(device), id);
  // The value has a block of exactly its size, so that a sanitizer sees a read past its end.
  characteristic.setValue(value ? std::optional<platform::Value>(*value) : std::nullopt);
  const auto error = errorOf(failure);
  toHandler(
      device,
      [&](auto& delegate, Peer& peer) {
        delegate.peripheralDidUpdateValueFor(*peer.peripheral, characteristic, pointer(error));
      },
      [&](oracle::Handler& handler) {
        handler.valueUpdated(oracle::everyCharacteristic().at(id.place), value);
      });
  characteristic.setValue(std::nullopt);
}

void Twin::notificationStateUpdated(std::size_t device, CharacteristicId id,
                                    const std::optional<oracle::Failure>& failure) {
  RecordedCharacteristic& characteristic = characteristicOf(peer(device), id);
  const auto error = errorOf(failure);
  toHandler(
      device,
      [&](auto& delegate, Peer& peer) {
        delegate.peripheralDidUpdateNotificationStateFor(*peer.peripheral, characteristic,
                                                         pointer(error));
      },
      [&](oracle::Handler& handler) {
        handler.notificationStateUpdated(oracle::everyCharacteristic().at(id.place), failure);
      });
}

void Twin::command(const std::string& line) {
  both([&] { handleHostCommand(bridge_, line); }, [&] { model_.command(line); });
}

void Twin::standardInput(const std::string& bytes, bool isRunning) {
  const GivenInput input(bytes);
  const std::atomic<bool> running = isRunning;
  both([&] { readHostCommands(bridge_, running); },
       [&] {
         if (!isRunning) expected_.exit();
         model_.standardInput(bytes);
       });
}

}  // namespace subject
