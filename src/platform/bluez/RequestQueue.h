// Carries out the requests made to one peripheral, one after the other. Main thread only.
#pragma once

#include <functional>
#include <list>
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

  // What BlueZ tells about the device.
  void linkIsDown();
  void servicesAreResolved();
  void objectIsGone(std::string_view path);

 private:
  // Of the request at the front.
  enum class Phase { idle, awaitingServices, underWay };

  void startNext();
  void start(Request& request);
  void finish();

  void discoverServices();
  void handleObjects(sd_bus_message* reply);
  void discoverCharacteristics(const Request& request);
  void read(Characteristic& characteristic);
  void readBattery(Characteristic& characteristic);
  void subscribe(Characteristic& characteristic);
  void unsubscribe(Characteristic& characteristic);
  void write(const Request& request);

  void refuse(const Error& error);
  void tellRefusal(const Request& request, const Error& error);
  void tellServices(std::vector<CBService*> services);
  void tellServicesError(const Error& error);
  void tellRead(Characteristic& characteristic, Value value);
  void tellNotificationState(Characteristic& characteristic, const std::optional<Error>& error);

  Peripheral& peripheral_;
  std::list<Request> requests_;
  Phase phase_ = Phase::idle;
  Call call_;
  Subscriber subscriber_;
};

}  // namespace platform::bluez
