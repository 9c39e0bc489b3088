// The whole bridge as a model: radio state, choice of devices, host commands, the end of the scan.
#pragma once

#include <map>
#include <memory>

#include "tests/oracle/Handlers.h"

namespace oracle {

class Bridge {
 public:
  explicit Bridge(Expected& expected) : expected_(expected) {}

  // state: its number on the platform. The log line has "state" in place of the state's name, which
  // is not compared.
  void stateUpdated(int state);
  void discovered(const Device& device, double now);
  void connected(const Device& device);
  void secondPassed(double now);

  void command(const std::string& line);
  [[noreturn]] void standardInput(const std::string& bytes);

  // The delegate of the device with this label: the last handler made for it (a device that changes
  // its name can have several). Null when there is none.
  Handler* delegateOf(const std::string& label);

 private:
  void connect(Handler& handler, double now);
  // Null when there is none.
  Handler* handlerOf(const Family& family);

  Expected& expected_;
  std::map<const Family*, std::unique_ptr<Handler>> handlers_;
  std::map<std::string, Handler*> delegates_;
  double firstRequest_ = 0;
  bool scanning_ = false;
};

}  // namespace oracle
