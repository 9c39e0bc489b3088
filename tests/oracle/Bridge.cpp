#include "tests/oracle/Bridge.h"

#include "tests/oracle/Commands.h"
#include "tests/oracle/Utf8.h"

namespace oracle {

void Bridge::stateUpdated(int state) {
  expected_.log("manager state update : state");
  if (state == 1) return;
  if (state == 5) {
    scanning_ = true;
    expected_.call("scan");
    return;
  }
  int code = 3;
  if (state == 4) code = 2;
  if (state == 3) code = 4;
  expected_.message("Z;" + std::to_string(code) + ";");
  expected_.call("sleep 1000000");
  expected_.exit();
}

void Bridge::discovered(const Device& device, double now) {
  if (!device.name) return;
  if (!scalars(*device.name)) expected_.hardStop();
  const std::string key = lowered(*device.name);
  if (firstRequest_ == 0) expected_.log("Device trouve : " + key);
  for (const Family* family : kFamilies) {
    if (handlers_.contains(family) || !takes(*family, key)) continue;
    Handler& handler = *(handlers_[family] = family->make(expected_, device));
    if (!family->announcement.empty()) expected_.message(std::string(family->announcement));
    connect(handler, now);
    return;
  }
}

void Bridge::connect(Handler& handler, double now) {
  delegates_[handler.device().label] = &handler;
  expected_.log("Connexion a " + *handler.device().name);
  if (firstRequest_ == 0) firstRequest_ = now;
  expected_.call("connect " + handler.device().label);
}

void Bridge::connected(const Device& device) {
  for (const Family* family : kFamiliesByConnection) {
    const Handler* handler = handlerOf(*family);
    if (handler == nullptr || handler->device().label != device.label) continue;
    expected_.call(discoveringServices(device, handler->model().services));
    return;
  }
}

void Bridge::secondPassed(double now) {
  if (!scanning_) return;
  const bool tooLong = firstRequest_ != 0 && firstRequest_ + 60.0 < now;
  const bool hasAll = handlerOf(corvelta) && handlerOf(sonde) && handlerOf(tramsel);
  if (!tooLong && !hasAll) return;
  expected_.log("Stop Scan");
  scanning_ = false;
  expected_.call("stopScan");
}

void Bridge::command(const std::string& line) {
  const Command* command = commandOf(line);
  if (command == nullptr) return expected_.log("commande recue non traitee : " + line);
  expected_.log(std::string(command->log));
  if (command->act == Command::Act::end) expected_.exit();
  const auto bytes = bytesOf(*command, line);
  Handler* handler = handlerOf(*command->family);
  if (!bytes || handler == nullptr) expected_.hardStop();
  if (command->act == Command::Act::write) return handler->write(command->uuid, *bytes);
  handler->notify(command->uuid, command->act == Command::Act::subscribe);
}

// A line ends with a line feed, and a carriage return before it is removed; the last line may end
// without one.
void Bridge::standardInput(const std::string& bytes) {
  std::string rest = bytes;
  while (!rest.empty()) {
    const std::size_t end = rest.find('\n');
    std::string line = rest.substr(0, end);
    if (end != std::string::npos && !line.empty() && line.back() == '\r') line.pop_back();
    rest = end == std::string::npos ? "" : rest.substr(end + 1);
    command(line);
  }
  expected_.exit();
}

Handler* Bridge::handlerOf(const Family& family) {
  const auto found = handlers_.find(&family);
  return found == handlers_.end() ? nullptr : found->second.get();
}

Handler* Bridge::delegateOf(const std::string& label) {
  return delegates_.contains(label) ? delegates_[label] : nullptr;
}

}  // namespace oracle
