// Makes one subscription: by AcquireNotify, whose socket is the cheapest way for values, and by
// StartNotify where BlueZ does not offer that. Main thread only.
//
// A device may take its time: a link is slow or busy, a person has to confirm a pairing. But BlueZ
// up to 5.83 never answers an AcquireNotify that the device refuses. So there are two bounds. After
// kPatience the subscription is late: other requests need not wait for it any longer. After kLimit
// more it counts as refused, since the Attribute Protocol gives a link up when an answer takes 30
// s. Both are on the device alone: they run only from when BlueZ is known to have read the call,
// and when the last is over, BlueZ is given the chance to pass on an answer that it has already.
#pragma once

#include <functional>
#include <optional>

#include "platform/Platform.h"
#include "platform/bluez/Bus.h"
#include "platform/bluez/Loop.h"

namespace platform::bluez {

class Characteristic;
class Peripheral;

class Subscriber {
 public:
  static constexpr std::chrono::seconds kPatience{5};
  static constexpr std::chrono::seconds kLimit{30};

  using OnLate = std::function<void()>;
  using OnDone = std::function<void(const std::optional<Error>& refusal)>;

  Subscriber(Peripheral& peripheral, Characteristic& characteristic);
  Subscriber(const Subscriber&) = delete;
  Subscriber& operator=(const Subscriber&) = delete;

  Characteristic& characteristic() const { return characteristic_; }
  bool isLate() const { return isLate_; }

  // onDone: the characteristic is subscribed, or the error says why not; it may destroy the object,
  // and may be called at once. Values are to be let through (Characteristic::begin) when the
  // success has been told.
  void start(OnLate onLate, OnDone onDone);

  // Gives it up for this reason.
  void refuseIfLinkHolds(const Error& error);

  // The device has been busy with something else until now.
  void waitAnew();

 private:
  void handleAcquired(sd_bus_message* reply);
  void startNotify();
  void send(const Message& call, Call::OnReply onReply);
  void ask(Call::OnReply onReply);
  void handleTime();
  void giveUp();
  void finish(const std::optional<Error>& refusal);

  Peripheral& peripheral_;
  Loop& loop_;
  Characteristic& characteristic_;
  OnLate onLate_;
  OnDone onDone_;
  Call call_;
  Call question_;
  Timer wait_;
  bool isLate_ = false;
};

}  // namespace platform::bluez
