#include "platform/bluez/Link.h"

#include "platform/bluez/Peripheral.h"

namespace platform::bluez {

namespace {

constexpr std::chrono::seconds kPause{1};

}  // namespace

Link::Link(Peripheral& peripheral)
    : peripheral_(peripheral), pause_(peripheral.loop(), [this] {
        phase_ = Phase::idle;
        step();
      }) {}

void Link::want(OnUp onUp) {
  if (isWanted()) return;
  onUp_ = std::move(onUp);
  step();
}

void Link::step() {
  if (!isWanted()) return;
  if (peripheral_.isConnected()) {
    const OnUp onUp = std::move(onUp_);
    forget();
    onUp();
  } else if (phase_ == Phase::idle && peripheral_.isPresent()) {
    attempt();
  }
}

void Link::deviceDidDisappear() {
  call_.cancel();
  pause_.stop();
  phase_ = Phase::idle;
}

void Link::attempt() {
  Bus& bus = peripheral_.loop().useBus();
  phase_ = Phase::attempting;
  call_.start(bus, bus.method(peripheral_.path(), kDeviceInterface, "Connect"),
              [this](sd_bus_message* /*reply*/) { handleReply(); });
}

// The reply says little: BlueZ may report success without a link, and an error when the link is up
// already. The property Connected decides. It is asked for, since its change is not always
// signalled: not by bluetoothd 5.66 when it had hung while the link came up; and 5.55 was seen to
// signal it only when the services are resolved.
void Link::handleReply() {
  if (!isWanted()) {
    phase_ = Phase::idle;
    return;
  }
  const Bus& bus = peripheral_.loop().useBus();
  call_.start(bus, bus.property(peripheral_.path(), kDeviceInterface, "Connected"),
              [this](sd_bus_message* reply) { handleAnswer(reply); });
}

void Link::handleAnswer(sd_bus_message* reply) {
  phase_ = Phase::idle;
  int isUp = 0;
  if (!isError(reply) && sd_bus_message_read(reply, "v", "b", &isUp) > 0 && isUp != 0) {
    return peripheral_.linkDidComeUp();
  }
  if (isWanted()) {
    phase_ = Phase::pausing;
    pause_.start(kPause);
  }
}

}  // namespace platform::bluez
