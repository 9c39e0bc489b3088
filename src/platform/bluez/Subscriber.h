// Makes one subscription: by AcquireNotify, whose socket is the cheapest way for values, or by
// StartNotify where BlueZ does not offer that. Main thread only.
//
// A device may take long to answer: the link is slow or busy, or a person has to confirm a pairing.
// But BlueZ before 5.84 never answers an AcquireNotify that the device refuses (seen with 5.66 and
// 5.82). So there are two limits. After kPatience the subscription is late: other requests no
// longer wait for it. After kLimit more it counts as refused, since the Attribute Protocol gives up
// a link when an answer takes 30 s. Both limits are for the device alone: they start when BlueZ is
// known to have read the call, and at the end BlueZ gets the chance to pass on an answer that it
// already has.
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

  // onDone: without an error the characteristic is subscribed. It may destroy the object, and may
  // be called at once. Once the success is reported, the caller has to let values through
  // (Characteristic::begin).
  void start(OnLate onLate, OnDone onDone);

  // Gives up the subscription, with this error unless the link is down.
  void refuseIfLinkHolds(const Error& error);

  // Starts the limits again: the device was busy with another request until now.
  void waitAnew();

 private:
  void handleAcquired(sd_bus_message* reply);
  void startNotify();
  void send(const Message& call, Call::OnReply onReply);
  void startRoundTrip(std::function<void()> onBack);
  void handleTime();
  void giveUp();
  void finish(const std::optional<Error>& refusal);

  Peripheral& peripheral_;
  Loop& loop_;
  Characteristic& characteristic_;
  OnLate onLate_;
  OnDone onDone_;
  Call call_;
  Call roundTrip_;
  Timer wait_;
  bool isLate_ = false;
};

}  // namespace platform::bluez
