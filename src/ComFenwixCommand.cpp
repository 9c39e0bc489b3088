// The command channel of ComFenwix: frames to the device, reassembly of its replies.
#include <array>
#include <string_view>

#include "Bytes.h"
#include "ComFenwix.h"
#include "Payload.h"
#include "Precondition.h"
#include "Text.h"
#include "Utils.h"

using platform::Value;

namespace {

constexpr std::uint8_t kReplyStart = 0xAA;
constexpr std::uint8_t kJsonCommand = 19;
constexpr std::size_t kHeaderSize = 4;

std::uint8_t byteOf(std::uint32_t value, int index) {
  return static_cast<std::uint8_t>(value >> (8 * index));
}

}  // namespace

void ComFenwix::writeFenwixCommand(std::uint8_t cde) {
  const std::array<std::uint8_t, 3> frame{cde, 0, 0};
  writeFrame(frame);
}

void ComFenwix::writeFenwixCommandInt(std::uint8_t cde, std::uint32_t valeur) {
  const std::array<std::uint8_t, 7> frame{
      cde, 4, 0, byteOf(valeur, 0), byteOf(valeur, 1), byteOf(valeur, 2), byteOf(valeur, 3)};
  writeFrame(frame);
}

void ComFenwix::writeFenwixCommandByte(std::uint8_t cde, std::uint8_t valeur) {
  const std::array<std::uint8_t, 4> frame{cde, 1, 0, valeur};
  writeFrame(frame);
}

void ComFenwix::writeFrame(Value frame) {
  platform::CBCharacteristic* command = characCommand;
  require(command != nullptr);
  peripheral->writeValue(frame, *command, platform::CBCharacteristicWriteType::withResponse);
}

void ComFenwix::notifRecueFenwixCommand(Value data) {
  std::size_t position = 0;
  if (nbBytesARecevoir == 0) {
    if (byteAt(data, 0) != kReplyStart) return;
    commandeEnCours = byteAt(data, 1);
    nbBytesARecevoir = static_cast<std::int64_t>(littleEndian<2>(data, 2));
    nbBytesRecus = 0;
    buffer.assign(static_cast<std::size_t>(nbBytesARecevoir), 0);
    position = kHeaderSize;
  }
  for (; position < data.size(); ++position) {
    const auto next = static_cast<std::size_t>(nbBytesRecus);
    require(next < buffer.size());
    buffer[next] = data[position];
    ++nbBytesRecus;
    if (nbBytesRecus >= nbBytesARecevoir) break;
  }
  if (nbBytesRecus >= nbBytesARecevoir) traiteCommande();
}

// Only the JSON document is passed on; replies to other commands are dropped.
void ComFenwix::traiteCommande() {
  if (commandeEnCours == kJsonCommand) {
    const std::string_view text(reinterpret_cast<const char*>(buffer.data()), buffer.size());
    require(isValidUtf8(text));
    Payload payload("PJSON;");
    payload.append(text);
    payload.append(';');
    sendQuelmar(payload);
  }
  nbBytesARecevoir = 0;
}
