#include "platform/bluez/Discovery.h"

namespace platform::bluez {

namespace {

constexpr std::chrono::seconds kPause{1};

}  // namespace

Discovery::Discovery(Loop& loop, OnStarted onStarted, OnDenied onDenied)
    : loop_(loop),
      onStarted_(std::move(onStarted)),
      onDenied_(std::move(onDenied)),
      pause_(loop, [this] {
        phase_ = Phase::off;
        step();
      }) {}

Discovery::~Discovery() {
  if (phase_ == Phase::starting || phase_ == Phase::on) stopDiscovery();
}

void Discovery::want(bool isWanted) {
  isWanted_ = isWanted;
  step();
}

void Discovery::reset(const std::string& adapterPath) {
  adapterPath_ = adapterPath;
  isWanted_ = false;
  phase_ = Phase::off;
  call_.cancel();
  pause_.stop();
}

void Discovery::step() {
  if (isWanted_ && phase_ == Phase::off) setFilter();
  if (!isWanted_ && phase_ == Phase::on) stopDiscovery();
}

// Without a filter BlueZ leaves out devices that do not advertise as discoverable. It forgets the
// filter whenever discovery ends.
void Discovery::setFilter() {
  const Message call = loop_.useBus().method(adapterPath_, kAdapterInterface, "SetDiscoveryFilter");
  if (call != nullptr) {
    sd_bus_message_append(call.get(), "a{sv}", 1, "Transport", "s", "le");
  }
  phase_ = Phase::settingFilter;
  call_.start(loop_.useBus(), call, [this](sd_bus_message* reply) {
    if (isError(reply)) return fail(reply);
    startDiscovery();
  });
}

void Discovery::startDiscovery() {
  const Message call = loop_.useBus().method(adapterPath_, kAdapterInterface, "StartDiscovery");
  phase_ = Phase::starting;
  call_.start(loop_.useBus(), call, [this](sd_bus_message* reply) {
    if (isError(reply)) return fail(reply);
    phase_ = Phase::on;
    if (isWanted_) onStarted_();
    step();
  });
}

void Discovery::stopDiscovery() {
  const Message call = loop_.useBus().method(adapterPath_, kAdapterInterface, "StopDiscovery");
  phase_ = Phase::stopping;
  call_.start(loop_.useBus(), call, [this](sd_bus_message* /*reply*/) {
    phase_ = Phase::off;
    step();
  });
}

void Discovery::fail(sd_bus_message* reply) {
  if (isAccessDenied(reply)) {
    phase_ = Phase::off;
    onDenied_();
  } else {
    phase_ = Phase::pausing;
    pause_.start(kPause);
  }
}

}  // namespace platform::bluez
