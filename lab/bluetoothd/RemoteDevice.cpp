#include "lab/bluetoothd/RemoteDevice.h"

#include <unistd.h>

#include <algorithm>

#include "lab/bluetoothd/Bluetoothd.h"

namespace lab {

RemoteDevice::~RemoteDevice() {
  for (const Gatt& gatt : gatt_) {
    if (gatt.socket >= 0) close(gatt.socket);
  }
}

bool RemoteDevice::notify(CharacteristicIndex characteristic, std::span<const std::uint8_t> value) {
  const std::size_t size = std::min(value.size(), largestNotification());
  for (Gatt& gatt : gatt_) {
    if (gatt.isService || gatt.index != characteristic) continue;
    bluetoothd_.takeValue(*this, gatt,
                          Bytes(value.begin(), value.begin() + static_cast<std::ptrdiff_t>(size)));
  }
  return true;
}

void RemoteDevice::drop() {
  isEnding_ = isConnected_;
  bluetoothd_.later(Microseconds(0), [this] { bluetoothd_.dropLink(*this); });
}

bool RemoteDevice::hasUnseenEnd() const {
  return std::ranges::any_of(gatt_, [](const Gatt& gatt) { return gatt.oversights > 0; });
}

const RemoteDevice::Gatt* RemoteDevice::find(std::string_view uuid) const {
  const auto found = std::ranges::find(gatt_, uuid, &Gatt::uuid);
  return found == gatt_.end() ? nullptr : &*found;
}

bool RemoteDevice::isSubscribed(std::string_view uuid) const {
  const Gatt* gatt = find(uuid);
  return gatt != nullptr && gatt->way != Gatt::Way::none;
}

}  // namespace lab
