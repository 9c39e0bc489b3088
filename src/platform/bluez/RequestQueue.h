// Carries out the requests made to one peripheral, one after the other. Main thread only.
//
// A late subscription (see Subscriber) leaves the queue, and the next request is carried out. Only
// requests that subscribe to the same characteristic, or unsubscribe from it, wait until the late
// one is answered.
#pragma once

#include <functional>
#include <list>
#include <optional>
#include <string_view>

#include "platform/Platform.h"
#include "platform/bluez/Bus.h"
#include "platform/bluez/Request.h"
#include "platform/bluez/Subscriber.h"

namespace platform::bluez {

class Peripheral;

class RequestQueue {
 public:
  explicit RequestQueue(Peripheral& peripheral);

  void add(Request request);

  // Events from BlueZ about the device.
  void linkDidGoDown();
  void servicesDidResolve();
  void objectDidDisappear(std::string_view path);

 private:
  // The phase of the request at the front.
  enum class Phase { idle, awaitingServices, underWay };

  void startNext();
  bool isHeldBack(const Request& request) const;
  void start(Request& request);
  void finish();

  void discoverServices();
  void handleObjects(sd_bus_message* reply);
  void discoverCharacteristics(const Request& request);
  void read(Characteristic& characteristic);
  void readBattery(Characteristic& characteristic);
  void subscribe(Characteristic& characteristic);
  void didDecide(Subscriber& subscriber, const std::optional<Error>& refusal);
  void unsubscribe(Characteristic& characteristic);
  void write(const Request& request);

  void refuseIfLinkHolds(const Error& error);
  void tellRefusal(const Request& request, const Error& error);
  void tellServices(std::vector<CBService*> services);
  void tellServicesError(const Error& error);
  void tellRead(Characteristic& characteristic, Value value);
  void tellNotificationState(Characteristic& characteristic, const std::optional<Error>& error);

  Peripheral& peripheral_;
  std::list<Request> requests_;
  Phase phase_ = Phase::idle;
  Call call_;
  std::list<Subscriber> subscribers_;  // that of the request at the front, and the late ones
};

}  // namespace platform::bluez
