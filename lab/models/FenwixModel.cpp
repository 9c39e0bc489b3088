#include "lab/models/FenwixModel.h"

#include <algorithm>
#include <bit>
#include <span>
#include <string>

#include "lab/Text.h"
#include "lab/models/Models.h"
#include "lab/models/Wire.h"

namespace lab {
namespace {

constexpr double kUsualRmsRate = 10;
constexpr double kUsualRawRate = 50;
constexpr std::uint8_t kReplyStart = 0xAA;
constexpr std::uint8_t kGetDocument = 19;
constexpr std::size_t kLongestPayload = 0xFFFF;

Bytes number(std::uint32_t value) {
  Bytes bytes;
  wire::appendLittle(bytes, value, 4);
  return bytes;
}

}  // namespace

FenwixModel::FenwixModel(std::string name) : BenchDevice(std::move(name)) {
  addService("98AB");
  addStream({.uuid = "3A89", .notify = true}, kUsualRmsRate);
  addStream({.uuid = "3A90", .notify = true}, kUsualRmsRate);
  rawStreams_[0] = addStream({.uuid = "3A87", .notify = true}, kUsualRawRate);
  rawStreams_[1] = addStream({.uuid = "3A88", .notify = true}, kUsualRawRate);
  addService("180F");
  addCharacteristic({.uuid = "2A19", .read = true, .notify = true}, {87});
  health_ = addCharacteristic({.uuid = "2BEB", .read = true}, {1});
  addService("180A");
  addCharacteristic({.uuid = "2A24", .read = true}, number(2));
  addCharacteristic({.uuid = "2A28", .read = true}, number(260));
  addCharacteristic({.uuid = "2A27", .read = true}, number(3));
  addCharacteristic({.uuid = "2A25", .read = true}, number(120034));
  addCharacteristic({.uuid = "2A23", .read = true}, number(7));
  addService("98AC");
  command_ = addCharacteristic({.uuid = "3A93", .write = true, .notify = true});
}

Bytes FenwixModel::rms(std::uint32_t sequence) {
  const auto value = static_cast<float>(sequence % 0x10000) / 0x10000;
  return number(std::bit_cast<std::uint32_t>(value));
}

Bytes FenwixModel::raw(std::uint32_t sequence) {
  Bytes value = number(sequence);
  for (std::uint32_t i = 0; i < 8; ++i) wire::appendLittle(value, sequence * 1009 + i * 4093, 2);
  return value;
}

Bytes FenwixModel::document(std::size_t length) {
  constexpr std::string_view kBeginning = R"({"device":"Nomsuel","notes":")";
  constexpr std::string_view kEnd = R"("})";
  constexpr std::string_view kNote = "mesure etalonnee; ";
  // Too short for an object, so a number with that many digits.
  if (length < kBeginning.size() + kEnd.size()) return Bytes(length, '1');
  std::string text(kBeginning);
  while (text.size() + kNote.size() + kEnd.size() <= length) text += kNote;
  text.resize(length - kEnd.size(), '.');
  text += kEnd;
  return Bytes(text.begin(), text.end());
}

Bytes FenwixModel::sample(Id stream, std::uint32_t sequence) {
  const bool isRaw = std::ranges::find(rawStreams_, stream) != rawStreams_.end();
  return isRaw ? raw(sequence) : rms(sequence);
}

AttError FenwixModel::written(Id id, std::span<const std::uint8_t> value) {
  if (id != command_) return AttError::writeNotPermitted;
  if (value.size() < 3) return AttError::invalidValueLength;
  const auto argument = value.subspan(3);
  if (argument.size() != static_cast<std::size_t>(value[1] | value[2] << 8)) {
    return AttError::invalidValueLength;
  }
  if (value[0] == kGetDocument) {
    Bytes text = document(documentLength_);
    if (replyFaults_.hasInvalidText && !text.empty()) text[text.size() / 2] = 0xFF;
    reply(kGetDocument, std::move(text));
  } else {
    reply(value[0], Bytes(argument.begin(), argument.end()));
  }
  return AttError::none;
}

void FenwixModel::reply(std::uint8_t code, Bytes payload) {
  Bytes whole{kReplyStart, code};
  wire::appendLittle(whole, static_cast<std::uint32_t>(payload.size()), 2);
  whole.insert(whole.end(), payload.begin(), payload.end());
  if (replyFaults_.replaced) whole = *replyFaults_.replaced;
  if (replyFaults_.length) whole.resize(std::min(whole.size(), *replyFaults_.length));
  if (largestNotification() == 0) return;
  const std::size_t part =
      std::min(replyFaults_.part.value_or(whole.size()), largestNotification());
  for (std::size_t at = 0; at < whole.size(); at += part) {
    const auto piece = std::span(whole).subspan(at, std::min(part, whole.size() - at));
    post(command_, Bytes(piece.begin(), piece.end()));
  }
}

bool FenwixModel::controlled(std::string_view verb, std::string_view argument) {
  const std::optional<std::uint32_t> value = toNumber(argument);
  if (verb == "json" && value && *value <= kLongestPayload) {
    documentLength_ = *value;
  } else if (verb == "health" && value && *value <= 0xFF) {
    setValue(health_, {static_cast<std::uint8_t>(*value)});
  } else {
    return false;
  }
  return true;
}

bool FenwixModel::setFault(std::string_view name, std::string_view argument) {
  if (name == "invalid-utf8" && argument.empty()) {
    replyFaults_.hasInvalidText = true;
    return true;
  }
  if (name == "reply") {
    replyFaults_.replaced = fromHex(argument);
    return replyFaults_.replaced.has_value();
  }
  const std::optional<std::uint32_t> length = toNumber(argument);
  if (name == "reply-cut" && length) {
    replyFaults_.length = *length;
  } else if (name == "reply-part" && length && *length > 0) {
    replyFaults_.part = *length;
  } else {
    return false;
  }
  return true;
}

constinit const DeviceKind fenwixKind{
    "fenwix", {"Nomsuel-1", "NOMSUEL 2", "nomsuel", "Nomsuel-9"}, makeModel<FenwixModel>};

}  // namespace lab
