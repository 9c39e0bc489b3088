#include "PlayedDevice.h"

#include "lab/Uuid.h"

namespace bench {

PlayedDevice::PlayedDevice(lab::Bluetoothd& bluetoothd, std::size_t place)
    : kind_(kDevices[place]),
      model_(lab::makeDevice(kind_.name)),
      remote_(bluetoothd.add(*model_, "dev_C0_00_00_FF_FF_0" + std::to_string(place + 1))) {
  model_->control("stream off");
}

bool PlayedDevice::isStream(std::string_view uuid) const {
  return uuid == lab::longForm(kind_.stream);
}

bool PlayedDevice::isSubscribed() const {
  return remote_.isSubscribed(lab::longForm(kind_.stream));
}

void PlayedDevice::send() const {
  const lab::RemoteDevice::Gatt* stream = remote_.find(lab::longForm(kind_.stream));
  if (stream != nullptr) remote_.notify(stream->index, valueSentAt(Clock::now(), kind_.valueSize));
}

}  // namespace bench
