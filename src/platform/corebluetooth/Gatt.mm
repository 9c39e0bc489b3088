#import "platform/corebluetooth/Gatt.h"

#include <algorithm>

#import "platform/corebluetooth/Peripheral.h"

namespace platform::corebluetooth {
namespace {

// The object of the interface for this object of the framework, made if necessary.
template <class Object>
Object& objectOf(typename Object::Native native, std::vector<std::unique_ptr<Object>>& all,
                 Peripheral& peripheral) {
  const CBUUID identifier = identifierOf([native UUID]);
  Object* without = nullptr;
  for (const auto& known : all) {
    if (known->native() == native) return *known;
    const bool isFree = known->native() == nil && known->UUID() == identifier;
    if (isFree && without == nullptr) without = known.get();
  }
  if (without == nullptr) {
    return *all.emplace_back(std::make_unique<Object>(peripheral, native));
  }
  without->setNative(native);
  return *without;
}

// Only the wanted ones: the framework's list may also contain those that other discoveries found.
template <class Listed, class Object>
std::vector<Listed*> objectsAmong(NSArray* natives, const std::vector<CBUUID>& wanted,
                                  std::vector<std::unique_ptr<Object>>& all,
                                  Peripheral& peripheral) {
  std::vector<Listed*> found;
  for (id native in natives) {
    Object& object = objectOf<Object>(native, all, peripheral);
    if (std::ranges::find(wanted, object.UUID()) != wanted.end()) found.push_back(&object);
  }
  return found;
}

}  // namespace

void Characteristic::deliver(Value value) {
  CBPeripheralDelegate* const delegate = peripheral_.delegate();
  if (delegate == nullptr) return;
  value_ = value;
  delegate->peripheralDidUpdateValueFor(peripheral_, *this, nullptr);
  value_.reset();
}

bool Characteristic::isBeingSubscribed() const {
  return !isSubscribed && std::ranges::find(asked, Asked::subscription) != asked.end();
}

void Characteristic::loseLink() {
  setNative(nil);
  asked.clear();
  early.clear();
  isSubscribed = isToBeRenewed = false;
}

void Characteristic::retain() {
  peripheral_.retain();
}

void Characteristic::release() {
  peripheral_.release();
}

std::vector<CBCharacteristic*> Service::found(NSArray* natives, const std::vector<CBUUID>& wanted) {
  return objectsAmong<CBCharacteristic>(natives, wanted, all, peripheral_);
}

bool Service::hasLostSome() const {
  const auto isLost = [](const auto& characteristic) { return characteristic->native() == nil; };
  return std::ranges::any_of(all, isLost);
}

void Service::loseNatives() {
  setNative(nil);
  for (const auto& characteristic : all) characteristic->setNative(nil);
}

std::vector<CBService*> Gatt::found(NSArray* natives, const std::vector<CBUUID>& wanted) {
  return objectsAmong<CBService>(natives, wanted, all_, peripheral_);
}

Service* Gatt::serviceOf(::CBService* native) const {
  for (const auto& service : all_) {
    if (service->native() == native) return service.get();
  }
  return nullptr;
}

Characteristic* Gatt::characteristicOf(::CBCharacteristic* native) const {
  for (const auto& service : all_) {
    for (const auto& characteristic : service->all) {
      if (characteristic->native() == native) return characteristic.get();
    }
  }
  return nullptr;
}

void Gatt::loseLink() {
  for (const auto& service : all_) {
    service->loseNatives();
    service->asked.clear();
    for (const auto& characteristic : service->all) characteristic->loseLink();
  }
}

}  // namespace platform::corebluetooth
