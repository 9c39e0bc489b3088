// Numbers of the Attribute Protocol (Bluetooth Core, Vol 3, Part F) that the server uses.
#pragma once

#include <cstddef>
#include <cstdint>

namespace lab::att {

inline constexpr std::size_t kDefaultMtu = 23;
inline constexpr std::size_t kLongestValue = 512;

enum Opcode : std::uint8_t {
  kErrorResponse = 0x01,
  kMtuRequest = 0x02,
  kMtuResponse = 0x03,
  kFindInformationRequest = 0x04,
  kFindInformationResponse = 0x05,
  kFindByTypeValueRequest = 0x06,
  kFindByTypeValueResponse = 0x07,
  kReadByTypeRequest = 0x08,
  kReadByTypeResponse = 0x09,
  kReadRequest = 0x0A,
  kReadResponse = 0x0B,
  kReadBlobRequest = 0x0C,
  kReadBlobResponse = 0x0D,
  kReadByGroupTypeRequest = 0x10,
  kReadByGroupTypeResponse = 0x11,
  kWriteRequest = 0x12,
  kWriteResponse = 0x13,
  kPrepareWriteRequest = 0x16,
  kPrepareWriteResponse = 0x17,
  kExecuteWriteRequest = 0x18,
  kExecuteWriteResponse = 0x19,
  kNotification = 0x1B,
  kIndication = 0x1D,
  kConfirmation = 0x1E,
  kWriteCommand = 0x52,
};

// This bit is set in the opcodes of commands, which are never answered.
inline constexpr std::uint8_t kCommandFlag = 0x40;

enum ErrorCode : std::uint8_t {
  kInvalidHandle = 0x01,
  kReadNotPermitted = 0x02,
  kWriteNotPermitted = 0x03,
  kInvalidPdu = 0x04,
  kRequestNotSupported = 0x06,
  kInvalidOffset = 0x07,
  kPrepareQueueFull = 0x09,
  kAttributeNotFound = 0x0A,
  kInvalidValueLength = 0x0D,
  kUnsupportedGroupType = 0x10,
  kConfigurationImproper = 0xFD,
};

enum AttributeType : std::uint16_t {
  kPrimaryService = 0x2800,
  kCharacteristic = 0x2803,
  kClientConfiguration = 0x2902,
  kDeviceName = 0x2A00,
  kAppearance = 0x2A01,
};

}  // namespace lab::att
