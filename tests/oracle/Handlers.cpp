#include "tests/oracle/Handlers.h"

#include "tests/oracle/Identifiers.h"

namespace oracle {

void Handler::servicesDiscovered(const Discovery& discovery) {
  if (!discovery.services || discovery.failure) {
    if (!discovery.failure || !device_.name) expected_.hardStop();
    expected_.log("erreur de lecture des services " + printed(*discovery.failure) + " de " +
                  *device_.name);
    return;
  }
  for (const Service& service : *discovery.services) requestIn(service);
}

void Handler::requestIn(const Service& service) {
  std::vector<std::string_view> wanted;
  for (const Part& part : family_.parts) {
    if (part.service == service.uuid) wanted.push_back(part.uuid);
  }
  if (!wanted.empty()) {
    expected_.call(discoveringCharacteristics(device_, service, wanted));
  } else if (family_.logsUnknownServices) {
    expected_.log("service inconnu : " + printed(service.uuid));
  }
}

void Handler::characteristicsDiscovered(const Service& service) {
  if (!service.characteristics) return;
  for (const Characteristic& characteristic : *service.characteristics) {
    for (const Part& part : family_.parts) {
      if (part.uuid != characteristic.uuid) continue;
      found_.insert_or_assign(part.uuid, characteristic);
      if (part.read) expected_.call(reading(device_, characteristic));
      if (part.subscribe) expected_.call(notifying(device_, true, characteristic));
    }
  }
}

const Characteristic& Handler::found(std::string_view uuid) {
  if (!found_.contains(uuid)) expected_.hardStop();
  return found_.at(uuid);
}

void Handler::write(std::string_view uuid, const Bytes& bytes) {
  expected_.call(writing(device_, bytes, found(uuid)));
}

void Handler::notify(std::string_view uuid, bool enabled) {
  expected_.call(notifying(device_, enabled, found(uuid)));
}

}  // namespace oracle
