// The radio behind the stand-in framework, and the devices on it. As the framework, there is one
// per process. Everything belongs to the main thread; what happens on the air happens while its run
// loop turns.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>

#include "lab/DeviceModel.h"

@class CBCentralManager;

namespace standin {

class Device;

// What a device's side of the air does wrong; the rest is the model's.
struct Faults {
  bool failsNextConnection = false;
  bool dropsAtDiscovery = false;           // once, of services
  bool isSilent = false;                   // requests are taken and not answered
  bool failsWaitingRequests = false;       // with the framework's errors, when the link is lost
  std::optional<int> discoveryError = {};  // an Attribute Protocol error of service discovery
};

class Air {
 public:
  static Air& shared();

  // The model outlives its device, which is on the air until it vanishes or all is cleared.
  void add(lab::DeviceModel& model);
  void vanish(lab::DeviceModel& model);
  void appear(lab::DeviceModel& model);
  Faults& faultsOf(lab::DeviceModel& model);

  // The models were changed from outside; what they do follows.
  void wake();

  // A value of CBManagerState; at first powered on.
  void setState(long state);
  long state() const { return state_; }

  // No device, nothing to come, powered on. There is no manager.
  void clear();

  // Calls that the framework would have complained about.
  std::size_t misuses = 0;
  // Objects of the framework's classes that somebody holds.
  std::size_t objects = 0;

  // The rest is the stand-in's own.

  void after(lab::Microseconds delay, std::function<void()> action);
  void post(std::function<void()> action) { after(lab::Microseconds{0}, std::move(action)); }
  void runDue();
  lab::Microseconds now() const;

  // The one manager, while there is one; not owned.
  CBCentralManager* manager = nullptr;
  bool isScanning() const { return isScanning_; }
  void startScan();
  void stopScan() { isScanning_ = false; }
  void report(Device& device);

  const std::map<lab::DeviceModel*, std::unique_ptr<Device>>& devices() const { return devices_; }

 private:
  void schedule();

  std::map<lab::DeviceModel*, std::unique_ptr<Device>> devices_;
  std::multimap<lab::Microseconds, std::function<void()>> events_;  // those of one time in order
  std::optional<lab::Microseconds> eventTime_;                      // of the one that happens now
  long state_ = 5;
  bool isScanning_ = false;
};

}  // namespace standin
