// The renewal of a peripheral when its device's services have changed: discovers them again.
#import "platform/corebluetooth/Peripheral.h"

#include <utility>

namespace platform::corebluetooth {
namespace {

template <class Object>
std::vector<CBUUID> identifiersOf(const std::vector<std::unique_ptr<Object>>& objects) {
  std::vector<CBUUID> identifiers;
  for (const auto& object : objects) identifiers.push_back(object->UUID());
  return identifiers;
}

}  // namespace

void Peripheral::didModifyServices(NSArray* invalidated) {
  bool isKnown = false;
  for (id native in invalidated) {
    Service* const service = gatt_.serviceOf(native);
    if (service == nullptr) continue;
    isKnown = true;
    postpone(*service);
    service->loseNatives();
  }
  if (isLinked_ && (isKnown || unanswered_ > 0)) renew();
}

// The framework will not answer requests for a changed service, so they are made again later.
void Peripheral::postpone(Service& service) {
  for (const Search& search : std::exchange(service.asked, {})) {
    if (search.renewal != 0) continue;
    later_.push_back([this, &service, search] { searchCharacteristics(service, search); });
  }
  for (const auto& each : service.all) {
    Characteristic& characteristic = *each;
    characteristic.isToBeRenewed |= characteristic.isSubscribed;
    for (const Asked asked : std::exchange(characteristic.asked, {})) {
      if (asked == Asked::renewal) continue;
      later_.push_back([this, &characteristic, asked] { ask(characteristic, asked); });
    }
  }
}

void Peripheral::renew() {
  std::vector<CBUUID> wanted = identifiersOf(gatt_.services());
  for (const Search& search : asked_) {
    wanted.insert(wanted.end(), search.wanted.begin(), search.wanted.end());
  }
  awaited_ = 1;
  searchServices({std::move(wanted), ++renewal_});
}

void Peripheral::renewCharacteristics() {
  for (const auto& service : gatt_.services()) {
    if (service->native() == nil || !service->hasLostSome()) continue;
    ++awaited_;
    searchCharacteristics(*service, {identifiersOf(service->all), renewal_});
  }
  finishRenewal();
}

void Peripheral::finishRenewal() {
  if (--awaited_ > 0) return;
  for (const auto& service : gatt_.services()) {
    for (const auto& each : service->all) {
      if (!std::exchange(each->isToBeRenewed, false)) continue;
      each->isSubscribed = each->native() != nil;
      if (each->isSubscribed) ask(*each, Asked::renewal);
    }
  }
  for (const auto& make : std::exchange(later_, {})) make();
}

}  // namespace platform::corebluetooth
