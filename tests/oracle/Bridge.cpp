#include "tests/oracle/Bridge.h"

#include "tests/oracle/Identifiers.h"
#include "tests/oracle/Utf8.h"

namespace oracle {

namespace {

bool beginsWithOneOf(const std::string& text, const std::vector<std::string>& beginnings) {
  for (const std::string& beginning : beginnings) {
    if (beginsWith(text, beginning)) return true;
  }
  return false;
}

}  // namespace

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
  if (!tramsel_ && beginsWithOneOf(key, {"dorvane", "tramsel"})) {
    tramsel_ = std::make_unique<Tramsel>(expected_, device);
    expected_.message("C;3;0;");
    connect(*tramsel_, now);
  } else if (!sonde_ && beginsWithOneOf(key, {"ilo", "pelko", "pelk0", "tenoval", "kvaltrin"})) {
    sonde_ = std::make_unique<Sonde>(expected_, device);
    connect(*sonde_, now);
  } else if (!corvelta_ && beginsWithOneOf(key, {"tarvix"})) {
    corvelta_ = std::make_unique<Corvelta>(expected_, device);
    connect(*corvelta_, now);
  } else if (!fenwix_ && beginsWithOneOf(key, {"nomsuel"})) {
    fenwix_ = std::make_unique<Fenwix>(expected_, device);
    connect(*fenwix_, now);
  }
}

void Bridge::connect(Handler& handler, double now) {
  delegates_[handler.device().label] = &handler;
  expected_.log("Connexion a " + *handler.device().name);
  if (firstRequest_ == 0) firstRequest_ = now;
  expected_.call("connect " + handler.device().label);
}

void Bridge::connected(const Device& device) {
  const auto serves = [&device](const auto& handler) {
    return handler && handler->device().label == device.label;
  };
  if (serves(tramsel_)) {
    expected_.call(discoveringServices(device, {serviceTramsel, serviceBatt}));
  } else if (serves(fenwix_)) {
    expected_.call(
        discoveringServices(device, {serviceFenwix, serviceBatt, serviceInfo, serviceConfig}));
  } else if (serves(corvelta_)) {
    expected_.call(discoveringServices(
        device, {serviceParametres, serviceCalibration, serviceContractions, serviceBatt}));
  } else if (serves(sonde_) && sonde_->isIlo()) {
    expected_.call(discoveringServices(device, {serviceIlo}));
  } else if (serves(sonde_)) {
    expected_.call(discoveringServices(device, {serviceBatt, serviceTenoval}));
  }
}

void Bridge::secondPassed(double now) {
  if (!scanning_) return;
  const bool tooLong = firstRequest_ != 0 && firstRequest_ + 60.0 < now;
  if (!tooLong && !(corvelta_ && sonde_ && tramsel_)) return;
  expected_.log("Stop Scan");
  scanning_ = false;
  expected_.call("stopScan");
}

Handler* Bridge::delegateOf(const std::string& label) {
  return delegates_.contains(label) ? delegates_[label] : nullptr;
}

}  // namespace oracle
