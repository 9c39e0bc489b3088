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
  Bytes constant;                        // declarations: the value that a read returns
  std::uint16_t lastOfGroup = 0;         // declarations of services: the service's last handle
  CharacteristicIndex characteristic{};  // values and configurations: the one they belong to
};

class AttDatabase {
 public:
  // Assigns handles in order, from 1. All identifiers have to be valid.
  explicit AttDatabase(const std::vector<Service>& services);

  const Attribute* find(std::uint16_t handle) const;

  // Removes a service of the model with all its attributes and returns its first and last handle;
  // nothing when there is no such service.
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
