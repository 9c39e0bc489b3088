// One device as bluetoothd shows it: its objects are those of the lab's model, which also answers
// what is read. Its stream is not the model's.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "Devices.h"
#include "FakeBluez.h"
#include "Series.h"
#include "lab/models/Models.h"

namespace bench {

class PlayedDevice {
 public:
  using OnSubscribed = std::function<void()>;

  // Of this place in kDevices.
  PlayedDevice(bluez_tests::FakeBluez& bluez, std::size_t place, OnSubscribed onSubscribed);

  // A scan hears of it.
  void appear();

  bool isSubscribed() const { return socket_ >= 0; }
  Series& values() { return values_; }

 private:
  void connect();
  void addCharacteristic(const std::string& path, lab::CharacteristicIndex index,
                         const lab::Characteristic& characteristic);
  void send() const;

  bluez_tests::FakeBluez& bluez_;
  const DeviceKind& kind_;
  const std::string path_;
  const OnSubscribed onSubscribed_;
  const std::unique_ptr<lab::BenchDevice> model_;
  int socket_ = -1;  // of the stream
  Series values_{[this](unsigned) { send(); }};
};

}  // namespace bench
