// One device of Devices.h for the model of bluetoothd: the lab's device model, except that its
// stream's values come from the benchmark.
#pragma once

#include <functional>
#include <memory>

#include "Devices.h"
#include "Series.h"
#include "lab/bluetoothd/Bluetoothd.h"
#include "lab/models/Models.h"

namespace bench {

class PlayedDevice {
 public:
  // place: the index in kDevices.
  PlayedDevice(lab::Bluetoothd& bluetoothd, std::size_t place);

  // Starts advertising, while it is not connected.
  void appear() { remote_.isAdvertising = true; }

  lab::RemoteDevice& remote() const { return remote_; }
  bool isStream(std::string_view uuid) const;
  bool isSubscribed() const;
  Series& values() { return values_; }

 private:
  void send() const;

  const DeviceKind& kind_;
  const std::unique_ptr<lab::BenchDevice> model_;
  lab::RemoteDevice& remote_;
  Series values_{[this](unsigned) { send(); }};
};

}  // namespace bench
