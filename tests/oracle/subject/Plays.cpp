#include "tests/oracle/subject/Plays.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "Text.h"
#include "tests/oracle/Identifiers.h"
#include "tests/oracle/Utf8.h"

namespace subject {

namespace {

constexpr std::array<std::string_view, 15> names = {
    "Dorvane",    "Tramsel-12",    "ILO-3",        "pelko",         "Pelk0 7",
    "Tenoval",    "kvaltrin",      "Tarvix",       "NOMSUEL",       "ILO\u0308-3",
    "\u0130LO-3", "Tramsel\u0301", "T\u00C9NOVAL", "NOMSUEL\u03A3", "\u03A3\u0391\u03A3."};

std::optional<oracle::Bytes> value(Choices& choices) {
  const std::size_t length = choices.byte();
  if (length == 255) return std::nullopt;
  if (length < 250) return choices.bytes(length);
  oracle::Bytes repeated = choices.bytes(16);
  repeated.resize(262 + length);  // 512 to 516 bytes, around the longest value
  return repeated;
}

std::optional<oracle::Failure> failure(Choices& choices) {
  if (choices.below(4) != 1) return std::nullopt;
  return oracle::Failure{"CBATTErrorDomain", choices.byte(), choices.text(choices.below(12))};
}

CharacteristicId characteristic(Choices& choices) {
  const std::size_t number = choices.byte();
  const std::size_t count = oracle::everyCharacteristic().size();
  return {number % count, number / count % Twin::copyCount};
}

// The oracle knows only some scripts; of other names, only some properties are checked.
std::string ofKnownScripts(const std::string& name) {
  const auto scalars = oracle::scalars(name);
  if (!scalars) return name;
  const std::string lower = lowerCase(name);
  if (!oracle::scalars(lower)) throw Difference("lower case is not UTF-8");
  if (lowerCase(lower) != lower) throw Difference("lower case has an upper case");
  std::string known;
  for (const auto scalar : *scalars) {
    known += oracle::isKnown(scalar) ? oracle::encoded(scalar) : "\u00D9";
  }
  return known;
}

std::optional<std::string> name(Choices& choices) {
  const std::size_t kind = choices.below(names.size() + 3);
  if (kind == names.size()) return std::nullopt;
  if (kind > names.size()) return ofKnownScripts(choices.text(choices.below(24)));
  return std::string(names[kind]) + ofKnownScripts(choices.text(choices.below(4)));
}

void discoverServices(Twin& twin, Choices& choices) {
  const std::size_t device = choices.below(Twin::deviceCount);
  const auto error = failure(choices);
  const std::size_t count = choices.below(7);
  std::optional<std::vector<std::size_t>> places;
  if (count < 6) places.emplace();
  for (std::size_t i = 0; places && i < count; ++i) {
    places->push_back(choices.below(oracle::everyService().size()));
  }
  twin.servicesDiscovered(device, places, error);
}

void discoverCharacteristics(Twin& twin, Choices& choices) {
  const std::size_t device = choices.below(Twin::deviceCount);
  const std::size_t service = choices.below(oracle::everyService().size());
  const auto error = failure(choices);
  const std::size_t count = choices.below(9);
  std::optional<std::vector<CharacteristicId>> found;
  if (count < 8) found.emplace();
  for (std::size_t i = 0; found && i < count; ++i) found->push_back(characteristic(choices));
  twin.characteristicsDiscovered(device, service, found, error);
}

void happen(Twin& twin, Choices& choices) {
  switch (choices.below(10)) {
    case 0:
      return twin.stateUpdated(choices.below(2) == 0 ? 5 : static_cast<int>(choices.below(8)) - 1);
    case 1: {
      const std::size_t device = choices.below(Twin::deviceCount);
      return twin.discovered(device, name(choices));
    }
    case 2:
      return twin.connected(choices.below(Twin::deviceCount));
    case 3:
      return twin.secondPassed(static_cast<double>(choices.byte()) / 4);
    case 4:
      return discoverServices(twin, choices);
    case 5:
      return discoverCharacteristics(twin, choices);
    case 6: {
      const std::size_t device = choices.below(Twin::deviceCount);
      const CharacteristicId id = characteristic(choices);
      const auto error = failure(choices);
      return twin.notificationStateUpdated(device, id, error);
    }
    case 7:
      return twin.command(choices.text(choices.below(32)));
    default: {
      const std::size_t device = choices.below(Twin::deviceCount);
      const CharacteristicId id = characteristic(choices);
      const auto error = failure(choices);
      return twin.valueUpdated(device, id, value(choices), error);
    }
  }
}

}  // namespace

const std::vector<PlayedModel>& models() {
  static const std::vector<PlayedModel> all = [] {
    std::vector<PlayedModel> found;
    for (const oracle::Family* family : oracle::kFamilies) {
      for (const oracle::Model& model : family->models) found.push_back({family, &model});
    }
    return found;
  }();
  return all;
}

std::size_t modelOfKind(std::string_view kind) {
  const auto isOfKind = [&](const PlayedModel& played) { return played.model->kind == kind; };
  return static_cast<std::size_t>(std::ranges::find_if(models(), isOfKind) - models().begin());
}

void discover(Twin& twin, std::size_t model) {
  twin.discovered(model, std::string(models().at(model).model->name));
}

std::size_t placeOf(std::string_view characteristic) {
  const auto& all = oracle::everyCharacteristic();
  return static_cast<std::size_t>(std::ranges::find(all, characteristic) - all.begin());
}

void playValues(Choices& choices) {
  Twin twin;
  const std::size_t model = choices.below(models().size());
  discover(twin, model);
  while (!choices.atEnd() && !twin.ended()) {
    const CharacteristicId id = characteristic(choices);
    twin.valueUpdated(model, id, value(choices));
  }
}

void playReplies(Choices& choices) {
  constexpr std::uint8_t jsonCode = 19;
  Twin twin;
  const std::size_t fenwix = modelOfKind("fenwix");
  discover(twin, fenwix);
  const CharacteristicId command{placeOf(oracle::characCommand), 0};
  while (!choices.atEnd() && !twin.ended()) {
    oracle::Bytes part;
    switch (choices.below(4)) {
      case 0:
        part = choices.bytes(choices.byte());
        break;
      case 1:
        part = {0xAA, jsonCode, choices.byte(), choices.byte()};
        break;
      case 2: {
        part = {0xAA, choices.byte(), choices.byte(), 0};
        const auto payload = choices.bytes(choices.below(32));
        part.insert(part.end(), payload.begin(), payload.end());
        break;
      }
      default:
        part.assign(std::size_t{256} * choices.below(8) + choices.byte(), choices.byte());
        break;
    }
    twin.valueUpdated(fenwix, command, part);
  }
}

void playCommands(Choices& choices) {
  const std::uint8_t there = choices.byte();
  Twin twin;
  const std::size_t corvelta = modelOfKind("corvelta");
  const std::size_t fenwix = modelOfKind("fenwix");
  const auto prepare = [&](std::size_t model, std::size_t service, int bit,
                           std::string_view which) {
    if ((there >> bit & 1) == 0) return;
    const std::vector<CharacteristicId> found = {{placeOf(which), 0}};
    twin.characteristicsDiscovered(model, service, found, std::nullopt);
  };
  if ((there & 0x01) != 0) discover(twin, corvelta);
  if ((there & 0x02) != 0) discover(twin, fenwix);
  prepare(corvelta, 0, 2, oracle::characCalibration);
  prepare(corvelta, 0, 3, oracle::characAcquisition);
  prepare(fenwix, 0, 4, oracle::characRaw);
  prepare(fenwix, 0, 5, oracle::characRaw2);
  prepare(fenwix, 0, 6, oracle::characCommand);
  const bool isRunning = there != 0x80;
  twin.standardInput(choices.remainingText(), isRunning);
}

void playNames(Choices& choices) {
  Twin twin;
  for (std::size_t device = 0; !choices.atEnd() && !twin.ended(); ++device) {
    const auto taken = name(choices);
    twin.discovered(device % Twin::deviceCount, taken);
  }
}

void playCallbacks(Choices& choices) {
  Twin twin;
  while (!choices.atEnd() && !twin.ended()) happen(twin, choices);
}

}  // namespace subject
