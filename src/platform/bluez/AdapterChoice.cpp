#include "platform/bluez/AdapterChoice.h"

#include <strings.h>

#include <cstdlib>

namespace platform::bluez {

namespace {

bool areEqualInAnyCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

}  // namespace

AdapterChoice AdapterChoice::fromEnvironment() {
  // Safe, since nothing in the bridge changes its environment.
  const char* wanted = std::getenv("VORNIX_ADAPTER");  // NOLINT(concurrency-mt-unsafe)
  return AdapterChoice(wanted != nullptr ? wanted : "");
}

bool AdapterChoice::admits(std::string_view path, std::string_view address) const {
  return isAny() || areEqualInAnyCase(wanted_, path.substr(path.rfind('/') + 1)) ||
         areEqualInAnyCase(wanted_, address);
}

}  // namespace platform::bluez
