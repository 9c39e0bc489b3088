// Who may ask for what. The page is served on the loopback address, which every program of the
// machine and every page of the web that its browser shows can reach:
//  - a secret, new with each start, has to come with every request for data or with a command. It
//    stands in the address behind "#", which a browser sends to nobody; the page sends it in a
//    header that a page of another origin may not send unasked;
//  - "Host" has to name the loopback address, or a name of the web could be pointed at it;
//  - "Origin", where a browser sends it, has to be the page's own.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace scope {

// 128 random bits in hexadecimal digits. Throws std::system_error.
std::string makeSecret();

struct Asked {
  std::string_view host;
  std::optional<std::string_view> origin;
  std::string_view authorization;
};

class Guard {
 public:
  Guard(std::string secret, int port) : secret_(std::move(secret)), port_(port) {}

  // The page itself, which holds nothing secret.
  bool maySee(const Asked& asked) const;
  // What passes between host and bridge.
  bool mayKnow(const Asked& asked) const;

 private:
  std::string secret_;
  int port_;
};

}  // namespace scope
