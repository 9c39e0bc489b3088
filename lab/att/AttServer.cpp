#include "lab/att/AttServer.h"

#include <algorithm>
#include <map>
#include <utility>

#include "lab/att/AttProtocol.h"

namespace lab {
namespace {

constexpr std::size_t kLongestPreparedQueue = 64;
constexpr std::uint16_t kNotifyBit = 0x0001;
constexpr std::uint16_t kIndicateBit = 0x0002;

std::uint16_t u16At(std::span<const std::uint8_t> bytes, std::size_t at) {
  return static_cast<std::uint16_t>(bytes[at] | bytes[at + 1] << 8);
}

void append16(Bytes& bytes, std::uint16_t number) {
  bytes.push_back(static_cast<std::uint8_t>(number));
  bytes.push_back(static_cast<std::uint8_t>(number >> 8));
}

void append(Bytes& bytes, std::span<const std::uint8_t> more) {
  bytes.insert(bytes.end(), more.begin(), more.end());
}

Bytes errorResponse(std::uint8_t opcode, std::uint16_t handle, std::uint8_t code) {
  return {att::kErrorResponse, opcode, static_cast<std::uint8_t>(handle),
          static_cast<std::uint8_t>(handle >> 8), code};
}

// The shortest valid PDU, in bytes; nothing for an opcode that the server does not know.
std::optional<std::size_t> shortestRequest(std::uint8_t opcode) {
  switch (opcode) {
    case att::kExecuteWriteRequest:
      return 2;
    case att::kMtuRequest:
    case att::kReadRequest:
    case att::kWriteRequest:
    case att::kWriteCommand:
      return 3;
    case att::kFindInformationRequest:
    case att::kReadBlobRequest:
    case att::kPrepareWriteRequest:
      return 5;
    case att::kFindByTypeValueRequest:
    case att::kReadByTypeRequest:
    case att::kReadByGroupTypeRequest:
      return 7;
    default:
      return std::nullopt;
  }
}

bool isRequest(std::uint8_t opcode) {
  return opcode % 2 == 0 && opcode != att::kConfirmation && (opcode & att::kCommandFlag) == 0;
}

}  // namespace

AttServer::AttServer(DeviceModel& model, AttObserver& observer, std::size_t largestMtu)
    : model_(model),
      observer_(observer),
      database_(model.services()),
      largestMtu_(largestMtu),
      mtu_(att::kDefaultMtu),
      configurations_(database_.characteristicCount()) {}

Bytes AttServer::receive(Pdu pdu) {
  if (pdu.empty()) return {};
  const std::uint8_t opcode = pdu[0];
  if (opcode == att::kConfirmation) awaitingConfirmation_ = false;
  if (opcode == att::kWriteCommand && pdu.size() >= *shortestRequest(opcode)) {
    const Attribute* attribute = database_.find(u16At(pdu, 1));
    if (attribute != nullptr) writeAttribute(*attribute, pdu.subspan(3));
  }
  return isRequest(opcode) ? answerRequest(pdu) : Bytes{};
}

std::string AttServer::step(Pdu pdu) const {
  const std::optional<std::size_t> shortest = pdu.empty() ? std::nullopt : shortestRequest(pdu[0]);
  if (!shortest || pdu.size() < *shortest) return "other";
  const std::uint8_t opcode = pdu[0];
  if (opcode == att::kMtuRequest) return "mtu";
  if (opcode == att::kReadByGroupTypeRequest) return "services";
  if (opcode == att::kFindByTypeValueRequest) return "services";
  if (opcode == att::kFindInformationRequest) return "descriptors";
  if (opcode == att::kReadByTypeRequest) return "characteristics";
  const Attribute* attribute = database_.find(u16At(pdu, 1));
  if (attribute == nullptr) return "other";
  const bool isWrite = opcode == att::kWriteRequest || opcode == att::kWriteCommand ||
                       opcode == att::kPrepareWriteRequest;
  if (attribute->kind != Attribute::Kind::configuration) {
    return (isWrite ? "write:" : "read:") + attribute->type.text();
  }
  if (!isWrite) return "other";
  const bool enables = pdu.size() > 3 && pdu[3] != 0;
  return (enables ? "subscribe:" : "unsubscribe:") + uuid(attribute->characteristic).text();
}

std::optional<Bytes> AttServer::valuePdu(CharacteristicIndex characteristic,
                                         std::span<const std::uint8_t> value) {
  const std::uint16_t configuration = configurations_.at(characteristic);
  if (configuration == 0) return std::nullopt;
  const bool isIndication = (configuration & kNotifyBit) == 0;
  awaitingConfirmation_ = awaitingConfirmation_ || isIndication;
  Bytes pdu{isIndication ? att::kIndication : att::kNotification};
  append16(pdu, database_.valueOf(characteristic).handle);
  append(pdu, value.first(std::min(value.size(), mtu_ - 3)));
  return pdu;
}

std::optional<Bytes> AttServer::withdraw(const Uuid& service) {
  const auto range = database_.withdraw(service);
  if (!range) return std::nullopt;
  prepared_.clear();
  for (CharacteristicIndex index = 0; index < configurations_.size(); ++index) {
    if (database_.isWithdrawn(index)) configurations_[index] = 0;
  }
  Bytes handles;
  append16(handles, range->first);
  append16(handles, range->second);
  return handles;
}

bool AttServer::indicates(CharacteristicIndex characteristic) const {
  return configurations_.at(characteristic) == kIndicateBit;
}

const Uuid& AttServer::uuid(CharacteristicIndex characteristic) const {
  return database_.valueOf(characteristic).type;
}

Bytes AttServer::answerRequest(Pdu pdu) {
  const std::uint8_t opcode = pdu[0];
  const std::optional<std::size_t> shortest = shortestRequest(opcode);
  if (!shortest) return errorResponse(opcode, 0, att::kRequestNotSupported);
  if (pdu.size() < *shortest) return errorResponse(opcode, 0, att::kInvalidPdu);
  switch (opcode) {
    case att::kMtuRequest:
      return exchangeMtu(pdu);
    case att::kFindInformationRequest:
      return findInformation(pdu);
    case att::kFindByTypeValueRequest:
      return findByTypeValue(pdu);
    case att::kReadByTypeRequest:
      return readByType(pdu);
    case att::kReadByGroupTypeRequest:
      return readByGroupType(pdu);
    case att::kReadRequest:
      return readWhole(pdu);
    case att::kReadBlobRequest:
      return readBlob(pdu);
    case att::kWriteRequest:
      return write(pdu);
    case att::kPrepareWriteRequest:
      return prepareWrite(pdu);
    default:
      return executeWrite(pdu);
  }
}

Bytes AttServer::exchangeMtu(Pdu pdu) {
  const std::size_t offered = u16At(pdu, 1);
  mtu_ = std::max(att::kDefaultMtu, std::min(offered, largestMtu_));
  Bytes response{att::kMtuResponse};
  append16(response, static_cast<std::uint16_t>(largestMtu_));
  return response;
}

Bytes AttServer::findInformation(Pdu pdu) const {
  const std::uint16_t first = u16At(pdu, 1);
  Bytes response{att::kFindInformationResponse, 0};
  std::size_t typeSize = 0;
  for (const Attribute& attribute : database_.range(first, u16At(pdu, 3))) {
    const Bytes type = attribute.type.wire();
    if (typeSize == 0) typeSize = type.size();
    if (type.size() != typeSize || response.size() + 2 + typeSize > mtu_) break;
    append16(response, attribute.handle);
    append(response, type);
  }
  if (typeSize == 0) return errorResponse(pdu[0], first, att::kAttributeNotFound);
  response[1] = typeSize == 2 ? 0x01 : 0x02;
  return response;
}

Bytes AttServer::findByTypeValue(Pdu pdu) const {
  const std::uint16_t first = u16At(pdu, 1);
  const Pdu wanted = pdu.subspan(7);
  Bytes response{att::kFindByTypeValueResponse};
  if (u16At(pdu, 5) == att::kPrimaryService) {
    for (const Attribute& attribute : database_.range(first, u16At(pdu, 3))) {
      if (attribute.type != Uuid(att::kPrimaryService)) continue;
      if (!std::ranges::equal(attribute.constant, wanted)) continue;
      if (response.size() + 4 > mtu_) break;
      append16(response, attribute.handle);
      append16(response, attribute.lastOfGroup);
    }
  }
  if (response.size() == 1) return errorResponse(pdu[0], first, att::kAttributeNotFound);
  return response;
}

Bytes AttServer::readByGroupType(Pdu pdu) const {
  const std::uint16_t first = u16At(pdu, 1);
  if (Uuid::fromWire(pdu.subspan(5)) != Uuid(att::kPrimaryService)) {
    return errorResponse(pdu[0], first, att::kUnsupportedGroupType);
  }
  Bytes response{att::kReadByGroupTypeResponse, 0};
  for (const Attribute& attribute : database_.range(first, u16At(pdu, 3))) {
    if (attribute.type != Uuid(att::kPrimaryService)) continue;
    const auto entrySize = static_cast<std::uint8_t>(4 + attribute.constant.size());
    if (response[1] == 0) response[1] = entrySize;
    if (response[1] != entrySize || response.size() + entrySize > mtu_) break;
    append16(response, attribute.handle);
    append16(response, attribute.lastOfGroup);
    append(response, attribute.constant);
  }
  if (response[1] == 0) return errorResponse(pdu[0], first, att::kAttributeNotFound);
  return response;
}

Bytes AttServer::readByType(Pdu pdu) {
  const std::uint16_t first = u16At(pdu, 1);
  const std::optional<Uuid> type = Uuid::fromWire(pdu.subspan(5));
  if (!type) return errorResponse(pdu[0], first, att::kInvalidPdu);
  Bytes response{att::kReadByTypeResponse, 0};
  for (const Attribute& attribute : database_.range(first, u16At(pdu, 3))) {
    if (attribute.type != *type) continue;
    const ReadResult result = valueOf(attribute);
    if (const auto* refusal = std::get_if<AttError>(&result)) {
      if (response[1] != 0) break;
      return errorResponse(pdu[0], attribute.handle, static_cast<std::uint8_t>(*refusal));
    }
    const Bytes& value = std::get<Bytes>(result);
    const std::size_t size = std::min({value.size(), mtu_ - 4, std::size_t{253}});
    const auto entrySize = static_cast<std::uint8_t>(2 + size);
    if (response[1] == 0) response[1] = entrySize;
    if (response[1] != entrySize || response.size() + entrySize > mtu_) break;
    append16(response, attribute.handle);
    append(response, std::span(value).first(size));
  }
  if (response[1] == 0) return errorResponse(pdu[0], first, att::kAttributeNotFound);
  return response;
}

Bytes AttServer::readWhole(Pdu pdu) {
  const std::uint16_t handle = u16At(pdu, 1);
  const Attribute* attribute = database_.find(handle);
  if (attribute == nullptr) return errorResponse(pdu[0], handle, att::kInvalidHandle);
  ReadResult result = valueOf(*attribute);
  if (const auto* refusal = std::get_if<AttError>(&result)) {
    return errorResponse(pdu[0], handle, static_cast<std::uint8_t>(*refusal));
  }
  lastReadHandle_ = handle;
  lastRead_ = std::move(std::get<Bytes>(result));
  Bytes response{att::kReadResponse};
  append(response, std::span(lastRead_).first(std::min(lastRead_.size(), mtu_ - 1)));
  return response;
}

Bytes AttServer::readBlob(Pdu pdu) {
  const std::uint16_t handle = u16At(pdu, 1);
  const std::size_t offset = u16At(pdu, 3);
  const Attribute* attribute = database_.find(handle);
  if (attribute == nullptr) return errorResponse(pdu[0], handle, att::kInvalidHandle);
  if (offset == 0 || handle != lastReadHandle_) {
    ReadResult result = valueOf(*attribute);
    if (const auto* refusal = std::get_if<AttError>(&result)) {
      return errorResponse(pdu[0], handle, static_cast<std::uint8_t>(*refusal));
    }
    lastReadHandle_ = handle;
    lastRead_ = std::move(std::get<Bytes>(result));
  }
  if (offset > lastRead_.size()) return errorResponse(pdu[0], handle, att::kInvalidOffset);
  Bytes response{att::kReadBlobResponse};
  const auto rest = std::span(lastRead_).subspan(offset);
  append(response, rest.first(std::min(rest.size(), mtu_ - 1)));
  return response;
}

Bytes AttServer::write(Pdu pdu) {
  const std::uint16_t handle = u16At(pdu, 1);
  const Attribute* attribute = database_.find(handle);
  if (attribute == nullptr) return errorResponse(pdu[0], handle, att::kInvalidHandle);
  const AttError error = writeAttribute(*attribute, pdu.subspan(3));
  if (error == AttError::none) return {att::kWriteResponse};
  return errorResponse(pdu[0], handle, static_cast<std::uint8_t>(error));
}

Bytes AttServer::prepareWrite(Pdu pdu) {
  const std::uint16_t handle = u16At(pdu, 1);
  const Attribute* attribute = database_.find(handle);
  if (attribute == nullptr) return errorResponse(pdu[0], handle, att::kInvalidHandle);
  if (attribute->kind != Attribute::Kind::value || !database_[attribute->characteristic].write) {
    return errorResponse(pdu[0], handle, att::kWriteNotPermitted);
  }
  if (prepared_.size() == kLongestPreparedQueue) {
    return errorResponse(pdu[0], handle, att::kPrepareQueueFull);
  }
  const Pdu part = pdu.subspan(5);
  prepared_.push_back({handle, u16At(pdu, 3), Bytes(part.begin(), part.end())});
  Bytes response(pdu.begin(), pdu.end());
  response[0] = att::kPrepareWriteResponse;
  return response;
}

Bytes AttServer::executeWrite(Pdu pdu) {
  const std::vector<PreparedPart> parts = std::exchange(prepared_, {});
  if (pdu[1] == 0) return {att::kExecuteWriteResponse};
  std::map<std::uint16_t, Bytes> values;
  for (const PreparedPart& part : parts) {
    Bytes& value = values[part.handle];
    if (part.offset != value.size()) {
      return errorResponse(pdu[0], part.handle, att::kInvalidOffset);
    }
    append(value, part.value);
  }
  for (const auto& [handle, value] : values) {
    const AttError error = value.size() > att::kLongestValue
                               ? AttError::invalidValueLength
                               : writeAttribute(*database_.find(handle), value);
    if (error != AttError::none) {
      return errorResponse(pdu[0], handle, static_cast<std::uint8_t>(error));
    }
  }
  return {att::kExecuteWriteResponse};
}

ReadResult AttServer::valueOf(const Attribute& attribute) {
  switch (attribute.kind) {
    case Attribute::Kind::declaration:
      return attribute.constant;
    case Attribute::Kind::deviceName: {
      const std::string name = model_.name();
      return Bytes(name.begin(), name.end());
    }
    case Attribute::Kind::configuration: {
      Bytes value;
      append16(value, configurations_[attribute.characteristic]);
      return value;
    }
    case Attribute::Kind::value:
    case Attribute::Kind::withdrawn:
      break;
  }
  return readFromModel(attribute);
}

ReadResult AttServer::readFromModel(const Attribute& attribute) {
  if (!database_[attribute.characteristic].read) return AttError::readNotPermitted;
  ReadResult result = model_.read(attribute.characteristic);
  if (auto* value = std::get_if<Bytes>(&result)) {
    if (value->size() > att::kLongestValue) value->resize(att::kLongestValue);
    observer_.didRead(attribute.type);
  } else {
    observer_.didRefuse("read:" + attribute.type.text());
  }
  return result;
}

AttError AttServer::writeAttribute(const Attribute& attribute,
                                   std::span<const std::uint8_t> value) {
  if (attribute.kind == Attribute::Kind::value) return writeValue(attribute, value);
  if (attribute.kind == Attribute::Kind::configuration) return configure(attribute, value);
  return AttError::writeNotPermitted;
}

AttError AttServer::writeValue(const Attribute& attribute, std::span<const std::uint8_t> value) {
  if (!database_[attribute.characteristic].write) return AttError::writeNotPermitted;
  const AttError error = model_.write(attribute.characteristic, value);
  if (error == AttError::none) {
    observer_.didWrite(attribute.type, value);
  } else {
    observer_.didRefuse("write:" + attribute.type.text());
  }
  return error;
}

AttError AttServer::configure(const Attribute& attribute, std::span<const std::uint8_t> value) {
  if (value.size() != 2) return AttError::invalidValueLength;
  const CharacteristicIndex index = attribute.characteristic;
  const std::uint16_t wanted = u16At(value, 0);
  const int offered =
      (database_[index].notify ? kNotifyBit : 0) | (database_[index].indicate ? kIndicateBit : 0);
  if ((wanted & ~offered) != 0) return static_cast<AttError>(att::kConfigurationImproper);
  const bool wasEnabled = configurations_[index] != 0;
  const bool isEnabled = wanted != 0;
  if (wasEnabled != isEnabled) {
    const AttError error = model_.subscribe(index, isEnabled);
    if (error != AttError::none) {
      observer_.didRefuse((isEnabled ? "subscribe:" : "unsubscribe:") + uuid(index).text());
      return error;
    }
    observer_.didSubscribe(uuid(index), isEnabled);
  }
  configurations_[index] = wanted;
  return AttError::none;
}

}  // namespace lab
