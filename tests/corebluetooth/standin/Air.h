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
#include <random>
#include <string>

#include "lab/DeviceModel.h"

@class CBCentralManager;

namespace standin {

class Device;

// What a device's side of the air does wrong; the rest is the model's.
struct Faults {
  std::size_t failedConnections = 0;       // so many fail, at once
  bool connectsTwice = false;              // a link is told twice
  std::optional<std::string> localName{};  // that it advertises beside the name that it is known by
  bool dropsAtDiscovery = false;           // once, of services
  bool isSilent = false;                   // requests are taken and not answered
  bool failsWaitingRequests = false;       // with the framework's errors, when the link is lost
  std::optional<int> discoveryError = {};  // an Attribute Protocol error of service discovery
};

// The environment's VORNIX_SEED at first, then one more each time; always 0 where there is none.
std::uint64_t nextSeed();

class Air {
 public:
  static Air& shared();

  // The model outlives its device, which is on the air until it vanishes or all is cleared.
  void add(lab::DeviceModel& model);
  void vanish(lab::DeviceModel& model);
  void appear(lab::DeviceModel& model);
  Faults& faultsOf(lab::DeviceModel& model);

  // Another program has a link to it.
  void holdByAnother(lab::DeviceModel& model);

  // The device's services are others now, as far as the framework knows: all that was found is
  // invalid. What is found again is the same.
  void modifyServices(lab::DeviceModel& model);

  // The models were changed from outside; what they do follows.
  void wake();

  // A value of CBManagerState; at first powered on. Below that, every peripheral becomes invalid.
  void setState(long state);
  long state() const { return state_; }

  // A value of CBManagerAuthorization. Its change tells nobody.
  long authorization = kAllowedAlways;

  // From now on the framework's calls and callbacks take their time, each as the seed says. The
  // calls keep their order, and so do the callbacks; the devices go their own way meanwhile. 0:
  // they take none.
  void setSeed(std::uint64_t seed);

  // From now on time stands still but for advanceTo(), and nothing happens by itself.
  void drive();
  // What is next, at the latest at that time, happens; false where nothing is due until then, and
  // it is that time now.
  bool advanceTo(lab::Microseconds time);
  // The run loop does not turn, but time goes by.
  void skipTo(lab::Microseconds time);

  // No device, nothing to come, powered on, allowed, nothing takes time. There is no manager.
  void clear();

  // Calls that the framework would have complained about.
  std::size_t misuses = 0;
  // Objects of the framework's classes that somebody holds.
  std::size_t objects = 0;
  // Requests for links, and reports of devices, that the framework has passed on.
  std::size_t connectionAttempts = 0;
  std::size_t reports = 0;

  // The rest is the stand-in's own.

  void after(lab::Microseconds delay, std::function<void()> action);
  void post(std::function<void()> action) { after(lab::Microseconds{0}, std::move(action)); }
  // From the program to the radio, and back.
  void call(std::function<void()> action) { enter(calls_, std::move(action)); }
  void tell(std::function<void()> action) { enter(callbacks_, std::move(action)); }
  void runDue();
  lab::Microseconds now() const;

  // The one manager, while there is one; not owned.
  CBCentralManager* manager = nullptr;
  bool isScanning() const { return isScanning_; }
  void startScan(bool isRepeating);
  bool isRepeating() const { return isScanning_ && isRepeating_; }
  void stopScan() { isScanning_ = false; }
  void report(Device& device);

  const std::map<lab::DeviceModel*, std::unique_ptr<Device>>& devices() const { return devices_; }

 private:
  static constexpr long kAllowedAlways = 3;

  // What keeps its order on its way.
  struct Way {
    lab::Microseconds last{0};
  };

  void enter(Way& way, std::function<void()> action);
  lab::Microseconds delay();
  void happen();
  void schedule();

  std::map<lab::DeviceModel*, std::unique_ptr<Device>> devices_;
  std::multimap<lab::Microseconds, std::function<void()>> events_;  // those of one time in order
  std::optional<lab::Microseconds> eventTime_;                      // of the one that happens now
  std::optional<lab::Microseconds> driven_;                         // the time, where it is driven
  std::optional<std::mt19937_64> random_;
  Way calls_;
  Way callbacks_;
  long state_ = 5;
  bool isScanning_ = false;
  bool isRepeating_ = false;
};

}  // namespace standin
