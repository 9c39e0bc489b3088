// Advertisers around, as bluetoothd tells of them: an object that appears when a device is first
// heard of, and a change of its signal strength each time after.
#pragma once

#include <systemd/sd-bus.h>

#include <string>

namespace bench {

class Crowd {
 public:
  // On the connection that has bluetoothd's name.
  explicit Crowd(sd_bus* bus) : bus_(bus) {}

  void tellFirst(unsigned device);
  void tellAgain(unsigned device);

 private:
  static std::string pathOf(unsigned device);

  sd_bus* bus_;
  short strength_ = -60;
};

}  // namespace bench
