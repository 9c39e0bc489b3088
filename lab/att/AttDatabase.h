// The attributes of a peripheral, with their handles: the generic access service (device name and
// appearance), the generic attribute service, and the services of the model.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "lab/DeviceModel.h"
#include "lab/Uuid.h"

namespace lab {

struct Attribute {
  enum class Kind { declaration, deviceName, value, configuration };

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
  std::span<const Attribute> range(std::uint16_t first, std::uint16_t last) const;

  const Attribute& valueOf(CharacteristicIndex characteristic) const;
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
