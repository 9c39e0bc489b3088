#include "platform/bluez/Subscriber.h"

#include <fcntl.h>

#include "platform/bluez/Characteristic.h"
#include "platform/bluez/Peripheral.h"

namespace platform::bluez {

namespace {

// Refusals by BlueZ, not by the device: the characteristic has only indications (before 5.80; seen
// with 5.55 and 5.66, not with 5.82), another client is subscribed, or the method does not exist
// (before 5.46, by its sources).
bool callsForSignals(sd_bus_message* reply) {
  return sd_bus_message_is_method_error(reply, "org.bluez.Error.NotSupported") > 0 ||
         sd_bus_message_is_method_error(reply, "org.bluez.Error.NotPermitted") > 0 ||
         sd_bus_message_is_method_error(reply, "org.bluez.Error.InProgress") > 0 ||
         sd_bus_message_is_method_error(reply, SD_BUS_ERROR_UNKNOWN_METHOD) > 0;
}

}  // namespace

Subscriber::Subscriber(Peripheral& peripheral, Characteristic& characteristic)
    : peripheral_(peripheral),
      loop_(peripheral.loop()),
      characteristic_(characteristic),
      wait_(loop_, [this] { handleTime(); }) {}

void Subscriber::start(OnLate onLate, OnDone onDone) {
  onLate_ = std::move(onLate);
  onDone_ = std::move(onDone);
  if (characteristic_.source() == Characteristic::Source::battery) {
    characteristic_.listen();
    return finish(std::nullopt);
  }
  const Message call =
      loop_.useBus().method(characteristic_.path(), kCharacteristicInterface, "AcquireNotify");
  if (call != nullptr) sd_bus_message_append(call.get(), "a{sv}", 0);
  send(call, [this](sd_bus_message* reply) { handleAcquired(reply); });
}

void Subscriber::handleAcquired(sd_bus_message* reply) {
  int descriptor = -1;
  std::uint16_t packetSize = 0;
  if (callsForSignals(reply)) return startNotify();
  if (isError(reply) || sd_bus_message_read(reply, "hq", &descriptor, &packetSize) <= 0) {
    return refuseIfLinkHolds(errorOf(reply));
  }
  Descriptor socket(fcntl(descriptor, F_DUPFD_CLOEXEC, 0));  // the message owns the original
  if (socket.get() < 0)
    return refuseIfLinkHolds(Error{SD_BUS_ERROR_FAILED, errno, "No descriptor is free"});
  characteristic_.receiveFrom(std::move(socket));
  finish(std::nullopt);
}

void Subscriber::startNotify() {
  characteristic_.listen();
  send(loop_.useBus().method(characteristic_.path(), kCharacteristicInterface, "StartNotify"),
       [this](sd_bus_message* reply) {
         if (isError(reply)) return refuseIfLinkHolds(errorOf(reply));
         finish(std::nullopt);
       });
}

// After the round trip BlueZ has sent the request to the device.
void Subscriber::send(const Message& call, Call::OnReply onReply) {
  wait_.stop();
  call_.start(loop_.useBus(), call, std::move(onReply));
  startRoundTrip([this] { wait_.start(isLate_ ? kLimit : kPatience); });
}

void Subscriber::startRoundTrip(std::function<void()> onBack) {
  roundTrip_.startRoundTrip(loop_.useBus(), peripheral_.path(), std::move(onBack));
}

void Subscriber::handleTime() {
  if (isLate_) return giveUp();
  isLate_ = true;
  wait_.start(kLimit);
  onLate_();
}

void Subscriber::waitAnew() {
  if (isLate_ && wait_.isRunning()) wait_.start(kLimit);
}

// BlueZ may have hung meanwhile, while the device's answer waited for it. It handles that in the
// same turn of its loop as the first round trip, so its reply comes before the end of the second.
void Subscriber::giveUp() {
  startRoundTrip([this] {
    startRoundTrip([this] {
      refuseIfLinkHolds(Error{SD_BUS_ERROR_NO_REPLY, 0, "The subscription was not answered"});
    });
  });
}

// An error may mean that the device refuses, or that the link is going down, which ends this
// object. BlueZ signals the loss of the link before or after the error, but no later than the round
// trip ends.
void Subscriber::refuseIfLinkHolds(const Error& error) {
  call_.cancel();
  wait_.stop();
  characteristic_.endSubscription();
  startRoundTrip([this, error] { finish(error); });
}

// onDone_ is moved out of the object first, since it may destroy the object.
void Subscriber::finish(const std::optional<Error>& refusal) {
  const OnDone onDone = std::move(onDone_);
  onDone(refusal);
}

}  // namespace platform::bluez
