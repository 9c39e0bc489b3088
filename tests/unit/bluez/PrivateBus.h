// A D-Bus daemon of the test's own, which takes the place of the system bus for this process.
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

  // Suspends the daemon for good: it keeps its connections and answers nothing.
  void stop();

  // Ends the daemon at once.
  void kill();

 private:
  std::string folder_;
  pid_t process_ = -1;
};

}  // namespace bluez_tests
