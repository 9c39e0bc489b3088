#include "lab/att/AttDatabase.h"

#include <algorithm>
#include <utility>

#include "lab/att/AttProtocol.h"

namespace lab {
namespace {

constexpr std::uint16_t kGenericAccess = 0x1800;
constexpr std::uint16_t kGenericAttribute = 0x1801;

enum Property : std::uint8_t { kRead = 0x02, kWrite = 0x08, kNotify = 0x10, kIndicate = 0x20 };

std::uint8_t propertiesOf(const Characteristic& characteristic) {
  int properties = 0;
  if (characteristic.read) properties |= kRead;
  if (characteristic.write) properties |= kWrite;
  if (characteristic.notify) properties |= kNotify;
  if (characteristic.indicate) properties |= kIndicate;
  return static_cast<std::uint8_t>(properties);
}

Bytes characteristicDeclaration(std::uint8_t properties, std::size_t valueHandle,
                                const Uuid& uuid) {
  Bytes declaration{properties, static_cast<std::uint8_t>(valueHandle),
                    static_cast<std::uint8_t>(valueHandle >> 8)};
  const Bytes type = uuid.wire();
  declaration.insert(declaration.end(), type.begin(), type.end());
  return declaration;
}

}  // namespace

AttDatabase::AttDatabase(const std::vector<Service>& services) {
  addGenericServices();
  for (const Service& service : services) {
    addService(Uuid::parse(service.uuid).value());
    const std::size_t declaration = attributes_.size() - 1;
    for (const Characteristic& each : service.characteristics) addCharacteristic(each);
    attributes_[declaration].lastOfGroup = attributes_.back().handle;
  }
}

const Attribute* AttDatabase::find(std::uint16_t handle) const {
  if (handle == 0 || handle > attributes_.size()) return nullptr;
  const Attribute& attribute = attributes_[handle - 1U];
  return attribute.kind == Attribute::Kind::withdrawn ? nullptr : &attribute;
}

// The handles stay in use, so that those of the other services do not move.
std::optional<std::pair<std::uint16_t, std::uint16_t>> AttDatabase::withdraw(const Uuid& service) {
  const auto declaration = std::ranges::find_if(attributes_, [&](const Attribute& attribute) {
    return attribute.type == Uuid(att::kPrimaryService) && attribute.constant == service.wire();
  });
  if (declaration == attributes_.end()) return std::nullopt;
  const std::pair range{declaration->handle, declaration->lastOfGroup};
  for (auto handle = range.first; handle <= range.second; ++handle) {
    attributes_[handle - 1U].type = Uuid(0);
    attributes_[handle - 1U].kind = Attribute::Kind::withdrawn;
  }
  return range;
}

std::span<const Attribute> AttDatabase::range(std::uint16_t first, std::uint16_t last) const {
  const std::size_t end = std::min<std::size_t>(last, attributes_.size());
  if (first == 0 || first > end) return {};
  return std::span(attributes_).subspan(first - 1U, end - first + 1U);
}

const Attribute& AttDatabase::valueOf(CharacteristicIndex characteristic) const {
  return attributes_[valueHandles_.at(characteristic) - 1U];
}

const Characteristic& AttDatabase::operator[](CharacteristicIndex characteristic) const {
  return characteristics_.at(characteristic);
}

void AttDatabase::addGenericServices() {
  using enum Attribute::Kind;
  addService(Uuid(kGenericAccess));
  add(att::kCharacteristic, declaration,
      characteristicDeclaration(kRead, 3, Uuid(att::kDeviceName)));
  add(att::kDeviceName, deviceName, {});
  add(att::kCharacteristic, declaration,
      characteristicDeclaration(kRead, 5, Uuid(att::kAppearance)));
  add(att::kAppearance, declaration, {0x00, 0x00});
  attributes_.front().lastOfGroup = attributes_.back().handle;
  // Empty, without Service Changed: a central that is not bonded discovers the tree anew on every
  // link. A model whose tree is to change during a link adds a second generic attribute service
  // that has the characteristic (BenchDevice, "service-changed").
  addService(Uuid(kGenericAttribute));
}

void AttDatabase::addService(const Uuid& uuid) {
  Attribute& service = add(att::kPrimaryService, Attribute::Kind::declaration, uuid.wire());
  service.lastOfGroup = service.handle;
}

void AttDatabase::addCharacteristic(const Characteristic& characteristic) {
  const Uuid uuid = Uuid::parse(characteristic.uuid).value();
  const CharacteristicIndex index = characteristics_.size();
  characteristics_.push_back(characteristic);
  const std::size_t valueHandle = attributes_.size() + 2;
  add(att::kCharacteristic, Attribute::Kind::declaration,
      characteristicDeclaration(propertiesOf(characteristic), valueHandle, uuid));
  Attribute& value = add(0, Attribute::Kind::value, {});
  value.type = uuid;
  value.characteristic = index;
  valueHandles_.push_back(value.handle);
  if (characteristic.notify || characteristic.indicate) {
    add(att::kClientConfiguration, Attribute::Kind::configuration, {}).characteristic = index;
  }
}

Attribute& AttDatabase::add(std::uint16_t type, Attribute::Kind kind, Bytes constant) {
  const auto handle = static_cast<std::uint16_t>(attributes_.size() + 1);
  return attributes_.emplace_back(
      Attribute{handle, Uuid(type), kind, std::move(constant), 0, CharacteristicIndex{}});
}

}  // namespace lab
