// The whole bridge as a model: radio state, choice of devices, host commands, the end of the scan.
#pragma once

#include <map>
#include <memory>

#include "tests/oracle/Handlers.h"

namespace oracle {

class Bridge {
 public:
  explicit Bridge(Expected& expected) : expected_(expected) {}

  // The state's platform value. Its name in the log line is the bridge's own affair: "state".
  void stateUpdated(int state);
  void discovered(const Device& device, double now);
  void connected(const Device& device);
  void secondPassed(double now);

  void command(const std::string& line);
  [[noreturn]] void standardInput(const std::string& bytes);

  // Who hears from the device with this label: the last handler made for it (a device that changes
  // its name can have several). Null when there is none.
  Handler* delegateOf(const std::string& label);

 private:
  void connect(Handler& handler, double now);
  void writeCorvelta(int byte, std::optional<Characteristic> Corvelta::*characteristic);
  void notifyFenwix(bool enabled, std::optional<Characteristic> Fenwix::*characteristic);
  void numberedCommand(const std::string& line, std::size_t bytes);
  Fenwix& fenwix();

  Expected& expected_;
  std::unique_ptr<Tramsel> tramsel_;
  std::unique_ptr<Sonde> sonde_;
  std::unique_ptr<Corvelta> corvelta_;
  std::unique_ptr<Fenwix> fenwix_;
  std::map<std::string, Handler*> delegates_;
  double firstRequest_ = 0;
  bool scanning_ = false;
};

}  // namespace oracle
