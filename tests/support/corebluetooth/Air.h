// The radio behind the stand-in framework, and the devices on it. As the framework, there is one
// per process. Everything belongs to the main thread; what happens on the air happens while its run
// loop turns, or when it is driven.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "lab/DeviceModel.h"
#include "lab/Witness.h"

@class CBCentralManager;

namespace standin {

class Device;

// What a device's side of the air does wrong; the rest is the model's.
struct Faults {
  std::size_t failedConnections = 0;       // so many fail, at once
  lab::Microseconds linkTime{0};           // until a link comes up that is asked for
  bool connectsTwice = false;              // a link is told twice
  std::optional<std::string> localName{};  // that it advertises beside the name that it is known by
  bool doesNameComeLater = false;          // the first report has none
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
  // Ends its link, if it has one.
  void dropLink(lab::DeviceModel& model);
  // The action follows when the device has been asked so many times more (1 or more).
  void whenAsked(lab::DeviceModel& model, std::size_t times, std::function<void()> action);
  Faults& faultsOf(lab::DeviceModel& model);

  // Another program has a link to it, and gives it up again.
  void holdByAnother(lab::DeviceModel& model);
  void releaseByAnother(lab::DeviceModel& model);

  // The device's services are others now, as far as the framework knows: all that was found is
  // invalid. What is found again is the same.
  void modifyServices(lab::DeviceModel& model);

  // The models were changed from outside; what they do follows.
  void wake();

  // Is told what passes between the program and the devices: what the framework tells when it tells
  // it, requests when they reach the device. Null: nobody.
  lab::Witness* witness = nullptr;
  lab::StackDevice& seen(lab::DeviceModel& model);

  // How often a device is reported where duplicates are asked for.
  lab::Microseconds advertisingInterval{100'000};

  // A value of CBManagerState; at first powered on. Below that, every peripheral becomes invalid.
  void setState(long state);
  long state() const { return state_; }

  // A value of CBManagerAuthorization. Its change tells nobody.
  long authorization = kAllowedAlways;

  // From now on the framework's calls and callbacks take their time, each as the seed says. The
  // calls keep their order, and so do the callbacks; the devices go their own way meanwhile. 0:
  // they take none.
  void setSeed(std::uint64_t seed);

  // The framework's calls and callbacks take so long at least, until that time.
  void delayUntil(lab::Microseconds time) { delayedUntil_ = time; }

  // From now on the time is the clock's, and nothing happens by itself: what is next, if there is
  // anything, happens when it is let.
  void drive(std::function<lab::Microseconds()> clock);
  std::optional<lab::Microseconds> next() const;
  void happen();

  // Callbacks are made only while the run loop turns. Whoever drives says when it does; it always
  // does where nobody says so. Those that are late come at once.
  void setTurning(bool isTurning);
  // So many have been made.
  std::size_t callbacks = 0;

  // Nothing is on its way between program and devices.
  bool isIdle() const { return underWay_ == 0 && held_.empty(); }

  // The program has ended. What it has left is good for nothing; links stay up.
  void forgetProgram();

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
  void post(std::function<void()> action) { pass(lab::Microseconds{0}, std::move(action)); }
  // From the program to the radio, and back.
  void call(std::function<void()> action) { enter(calls_, std::move(action)); }
  void tell(std::function<void()> action);
  void runDue();
  lab::Microseconds now() const;

  // The one manager, while there is one; not owned.
  CBCentralManager* manager = nullptr;
  bool isScanning() const { return isScanning_; }
  void forgetRequests();
  void startScan(bool isRepeating);
  bool isRepeating() const { return isScanning_ && isRepeating_; }
  void stopScan() { isScanning_ = false; }
  void report(Device& device);

  const std::vector<std::unique_ptr<Device>>& devices() const { return devices_; }

 private:
  static constexpr long kAllowedAlways = 3;

  // What keeps its order on its way.
  struct Way {
    lab::Microseconds last{0};
  };

  Device& deviceOf(lab::DeviceModel& model) const;
  void pass(lab::Microseconds delay, std::function<void()> action);
  void enter(Way& way, std::function<void()> action);
  lab::Microseconds delay();
  void schedule();

  std::vector<std::unique_ptr<Device>> devices_;
  std::multimap<lab::Microseconds, std::function<void()>> events_;  // those of one time in order
  std::optional<lab::Microseconds> eventTime_;                      // of the one that happens now
  std::function<lab::Microseconds()> clock_;                        // where it is driven
  std::optional<std::mt19937_64> random_;
  Way calls_;
  Way callbacks_;
  lab::Microseconds delayedUntil_{0};
  std::uint64_t program_ = 0;  // numbers them
  std::size_t underWay_ = 0;
  bool isTurning_ = true;
  std::deque<std::function<void()>> held_;  // callbacks, until the run loop turns
  long state_ = 5;
  bool isScanning_ = false;
  bool isRepeating_ = false;
};

}  // namespace standin
