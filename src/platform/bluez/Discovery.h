// The adapter's discovery of low-energy devices, switched on and off as wanted. Main thread only.
#pragma once

#include <functional>
#include <string>

#include "platform/bluez/Bus.h"
#include "platform/bluez/Loop.h"

namespace platform::bluez {

class Discovery {
 public:
  using OnStarted = std::function<void()>;
  using OnDenied = std::function<void()>;

  // onStarted: discovery is on, after it was off. onDenied: this program may not discover.
  Discovery(Loop& loop, OnStarted onStarted, OnDenied onDenied);
  Discovery(const Discovery&) = delete;
  Discovery& operator=(const Discovery&) = delete;

  // Stops discovery, which BlueZ would otherwise go on with for this program.
  ~Discovery();

  void want(bool isWanted);
  bool isOn() const { return phase_ == Phase::on; }

  // BlueZ or the radio has stopped discovery, and it is not wanted any more. adapterPath: the
  // adapter to use from now on.
  void reset(const std::string& adapterPath);

 private:
  // A start that fails is tried again after a pause, for as long as it is wanted.
  enum class Phase { off, settingFilter, starting, on, stopping, pausing };

  void step();
  void setFilter();
  void startDiscovery();
  void stopDiscovery();
  void fail(sd_bus_message* reply);

  Loop& loop_;
  OnStarted onStarted_;
  OnDenied onDenied_;
  std::string adapterPath_;
  bool isWanted_ = false;
  Phase phase_ = Phase::off;
  Call call_;
  Timer pause_;
};

}  // namespace platform::bluez
