// The service and characteristic objects that discovery on a simulated device returns.
#pragma once

#include <optional>
#include <utility>
#include <vector>

#include "lab/simulated/Device.h"
#include "platform/Platform.h"
#include "platform/shared/DeliveryQueue.h"

namespace platform::simulated {

class Peripheral;

class Characteristic final : public CBCharacteristic, public shared::ValueTarget {
 public:
  Characteristic(Peripheral& peripheral, DeviceCharacteristic& onDevice)
      : CBCharacteristic(onDevice.uuid), peripheral_(peripheral), onDevice_(onDevice) {}

  Peripheral& peripheral() const { return peripheral_; }
  DeviceCharacteristic& onDevice() const { return onDevice_; }
  void setValue(std::optional<Value> value) { value_ = value; }

  // Nothing to do: it lives as long as the platform.
  void retain() override {}
  void release() override {}
  void deliver(Value value) override;

 private:
  Peripheral& peripheral_;
  DeviceCharacteristic& onDevice_;
};

class Service final : public CBService {
 public:
  explicit Service(DeviceService& onDevice) : CBService(onDevice.uuid), onDevice_(onDevice) {}

  DeviceService& onDevice() const { return onDevice_; }
  void setCharacteristics(std::optional<std::vector<CBCharacteristic*>> found) {
    characteristics_ = std::move(found);
  }

 private:
  DeviceService& onDevice_;
};

}  // namespace platform::simulated
