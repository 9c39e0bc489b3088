#include "platform/bluez/Subscriber.h"

#include <fcntl.h>

#include "platform/bluez/Characteristic.h"

namespace platform::bluez {

namespace {

// Refusals by BlueZ, not by the device: no notifications but indications (before 5.80), another
// client is subscribed, no such method (before 5.46).
bool callsForSignals(sd_bus_message* reply) {
  return sd_bus_message_is_method_error(reply, "org.bluez.Error.NotSupported") > 0 ||
         sd_bus_message_is_method_error(reply, "org.bluez.Error.NotPermitted") > 0 ||
         sd_bus_message_is_method_error(reply, "org.bluez.Error.InProgress") > 0 ||
         sd_bus_message_is_method_error(reply, SD_BUS_ERROR_UNKNOWN_METHOD) > 0;
}

}  // namespace

Subscriber::Subscriber(Loop& loop) : loop_(loop), limit_(loop, [this] { giveUp(); }) {}

void Subscriber::start(Characteristic& characteristic, OnDone onDone) {
  characteristic_ = &characteristic;
  onDone_ = std::move(onDone);
  if (characteristic.source() == Characteristic::Source::battery) {
    characteristic.listen();
    finish(std::nullopt);
  } else {
    acquire();
  }
}

void Subscriber::cancel() {
  call_.cancel();
  question_.cancel();
  limit_.stop();
  onDone_ = nullptr;
}

void Subscriber::acquire() {
  const Message call =
      loop_.bus().method(characteristic_->path(), kCharacteristicInterface, "AcquireNotify");
  if (call != nullptr) sd_bus_message_append(call.get(), "a{sv}", 0);
  call_.start(loop_.bus(), call, [this](sd_bus_message* reply) { handleAcquired(reply); });
  // BlueZ reads its calls in order: once it answers this, it has asked the device.
  ask([this](sd_bus_message* /*reply*/) { waitForDevice(); });
}

void Subscriber::handleAcquired(sd_bus_message* reply) {
  question_.cancel();
  limit_.stop();
  int descriptor = -1;
  std::uint16_t packetSize = 0;
  if (callsForSignals(reply)) return startNotify();
  if (isError(reply) || sd_bus_message_read(reply, "hq", &descriptor, &packetSize) <= 0) {
    return finish(errorOf(reply));
  }
  Descriptor socket(fcntl(descriptor, F_DUPFD_CLOEXEC, 0));  // the message keeps its own
  if (socket.get() < 0) return finish(Error{SD_BUS_ERROR_FAILED, errno, "No descriptor is free"});
  characteristic_->receiveFrom(std::move(socket));
  finish(std::nullopt);
}

// A question about anything: that it is answered is all that counts.
void Subscriber::ask(Call::OnReply onReply) {
  const Bus& bus = loop_.bus();
  question_.start(bus, bus.property(characteristic_->path(), kCharacteristicInterface, "UUID"),
                  std::move(onReply));
}

void Subscriber::waitForDevice() {
  limit_.start(kLimit);
}

// BlueZ may have been stopped meanwhile, with the device's answer waiting for it. It takes that up
// in the same turn as the first question, so that its answer comes before that of the second.
void Subscriber::giveUp() {
  ask([this](sd_bus_message* /*reply*/) {
    ask([this](sd_bus_message* /*reply*/) {
      call_.cancel();
      finish(Error{SD_BUS_ERROR_NO_REPLY, 0, "The subscription was not answered"});
    });
  });
}

void Subscriber::startNotify() {
  characteristic_->listen();
  call_.start(loop_.bus(),
              loop_.bus().method(characteristic_->path(), kCharacteristicInterface, "StartNotify"),
              [this](sd_bus_message* reply) {
                if (!isError(reply)) return finish(std::nullopt);
                characteristic_->endSubscription();
                finish(errorOf(reply));
              });
}

void Subscriber::finish(const std::optional<Error>& refusal) {
  const OnDone onDone = std::move(onDone_);
  cancel();
  onDone(refusal);
}

}  // namespace platform::bluez
