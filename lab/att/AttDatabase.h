// The attributes of a peripheral, with their handles: the generic access service (device name and
// appearance), the generic attribute service, and the services of the model.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "lab/DeviceModel.h"
#include "lab/Uuid.h"

namespace lab {

struct Attribute {
  enum class Kind { declaration, deviceName, value, configuration, withdrawn };

  std::uint16_t handle;
  Uuid type;
  Kind kind;
  Bytes constant;                        // of a declaration: what a read gives
  std::uint16_t lastOfGroup = 0;         // of a service's declaration: its last handle
  CharacteristicIndex characteristic{};  // of a value or configuration: whose it is
};

class AttDatabase {
 public:
  // Handles are given in order from 1. The identifiers of the services are valid ones.
  explicit AttDatabase(const std::vector<Service>& services);

  const Attribute* find(std::uint16_t handle) const;

  // Makes a service of the model and all that is in it unknown, and returns its first and last
  // handle; nothing when it is not there.
  std::optional<std::pair<std::uint16_t, std::uint16_t>> withdraw(const Uuid& service);

  std::span<const Attribute> range(std::uint16_t first, std::uint16_t last) const;

  const Attribute& valueOf(CharacteristicIndex characteristic) const;
  bool isWithdrawn(CharacteristicIndex characteristic) const {
    return valueOf(characteristic).kind == Attribute::Kind::withdrawn;
  }
  const Characteristic& operator[](CharacteristicIndex characteristic) const;
  std::size_t characteristicCount() const { return characteristics_.size(); }

 private:
  void addGenericServices();
  void addService(const Uuid& uuid);
  void addCharacteristic(const Characteristic& characteristic);
  Attribute& add(std::uint16_t type, Attribute::Kind kind, Bytes constant);

  std::vector<Attribute> attributes_;
  std::vector<Characteristic> characteristics_;
  std::vector<std::uint16_t> valueHandles_;
};

}  // namespace lab
