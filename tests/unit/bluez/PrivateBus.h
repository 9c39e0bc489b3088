// A D-Bus daemon of the test's own, which takes the system bus's place while it lives.
#pragma once

#include <sys/types.h>

#include <string>

namespace bluez_tests {

class PrivateBus {
 public:
  PrivateBus();
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;
  ~PrivateBus();

  // The daemon does nothing any more.
  void stop();

  // Ends the daemon at once.
  void kill();

 private:
  std::string folder_;
  pid_t process_ = -1;
};

}  // namespace bluez_tests
