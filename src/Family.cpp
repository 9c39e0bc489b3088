#include "Family.h"

#include <algorithm>

#include "Text.h"

bool isNamed(const Family& family, std::string_view key) {
  return std::ranges::any_of(family.names, [key](auto name) { return beginsWith(key, name); });
}

std::vector<platform::CBUUID> servicesOf(std::span<const KnownCharacteristic> characteristics) {
  std::vector<platform::CBUUID> services;
  for (const KnownCharacteristic& known : characteristics) {
    if (std::ranges::find(services, known.service) == services.end()) {
      services.push_back(known.service);
    }
  }
  return services;
}
