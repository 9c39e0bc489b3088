#include "scope/server/Guard.h"

#include <sys/random.h>

#include <array>
#include <cerrno>
#include <system_error>

#include "scope/Text.h"

namespace scope {
namespace {

// Takes as long wherever the difference is.
bool isSame(std::string_view given, std::string_view secret) {
  if (given.size() != secret.size()) return false;
  unsigned difference = 0;
  for (std::size_t i = 0; i < secret.size(); ++i) {
    difference |= static_cast<unsigned>(given[i] ^ secret[i]);
  }
  return difference == 0;
}

}  // namespace

std::string makeSecret() {
  std::array<unsigned char, 16> random{};
  if (::getrandom(random.data(), random.size(), 0) != static_cast<ssize_t>(random.size())) {
    throw std::system_error(errno, std::generic_category(), "getrandom");
  }
  return toHex(random, "0123456789abcdef");
}

bool Guard::maySee(const Asked& asked) const {
  const std::string port = ':' + std::to_string(port_);
  for (const char* name : {"127.0.0.1", "localhost"}) {
    const std::string host = name + port;
    if (asked.host == host && (!asked.origin || *asked.origin == "http://" + host)) return true;
  }
  return false;
}

bool Guard::mayKnow(const Asked& asked) const {
  constexpr std::string_view kScheme = "Bearer ";
  return maySee(asked) && asked.authorization.starts_with(kScheme) &&
         isSame(asked.authorization.substr(kScheme.size()), secret_);
}

}  // namespace scope
