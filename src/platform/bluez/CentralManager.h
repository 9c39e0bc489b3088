// The central: the adapter's state, scanning, and the devices that BlueZ knows. Main thread only.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "platform/Platform.h"
#include "platform/bluez/AdapterChoice.h"
#include "platform/bluez/Discovery.h"
#include "platform/bluez/Loop.h"
#include "platform/bluez/Objects.h"
#include "platform/bluez/Peripheral.h"
#include "platform/bluez/StackWatch.h"

namespace platform::bluez {

class CentralManager final : public CBCentralManager, private StackWatch::Listener {
 public:
  CentralManager(std::shared_ptr<Loop> loop, CBCentralManagerDelegate& delegate,
                 AdapterChoice choice);
  ~CentralManager() override;

  CBManagerState state() const override { return toldState_; }
  void scanForPeripherals() override;
  void stopScan() override;
  void connect(const std::shared_ptr<CBPeripheral>& peripheral) override;

 private:
  struct Adapter {
    bool isPowered = false;
    bool isAdmitted = false;
  };

  // Sorts hci2 before hci10.
  struct PathOrder {
    using is_transparent = void;
    bool operator()(std::string_view a, std::string_view b) const {
      return a.size() != b.size() ? a.size() < b.size() : a < b;
    }
  };

  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const {
      return std::hash<std::string_view>()(text);
    }
  };

  void stackDidBecomeUnavailable(CBManagerState state) override;
  void stackDidStart() override;
  void stackDidEnd() override;
  void snapshotDidArrive(std::span<const Object> objects) override;
  void objectDidAppear(const Object& object) override;
  void objectDidChange(const Object& object) override;
  void objectDidDisappear(const RemovedObject& object) override;

  bool isKnown(const Object& object) const;
  void addAdapter(std::string_view path, const AdapterProperties& properties);
  void adaptersDidChange();
  void judgeAdapters();
  void chooseAdapter();
  const std::string* bestAdapter() const;
  void setAdapter(const std::string& path);
  void setState(CBManagerState state);

  void forgetStack();
  bool isOnAdapter(std::string_view devicePath) const { return parentOf(devicePath) == adapter_; }
  void deviceDidChange(const Object& object);
  void deviceDidDisappear(std::string_view path);
  bool forget(std::string_view key);
  void forgetDevices();
  void report(Peripheral& peripheral);
  void linkDidComeUp(Peripheral& peripheral);
  void updateDiscovery();

  std::shared_ptr<Loop> loop_;
  CBCentralManagerDelegate& delegate_;
  CBManagerState state_ = CBManagerState::unknown;
  CBManagerState toldState_ = CBManagerState::unknown;  // as last reported to the delegate

  const AdapterChoice choice_;
  bool areAdaptersKnown_ = false;  // a snapshot has arrived
  std::map<std::string, Adapter, PathOrder> adapters_;
  std::string adapter_;      // the path of the one in use; empty for none
  std::string lastAdapter_;  // the path of the one that was last in use and powered on
  bool isSettling_ = false;  // BlueZ has just been started
  Timer settling_;
  Timer loss_;  // runs while the adapter in use has lost its power, and more may follow
  CBManagerState lossState_ = CBManagerState::poweredOff;  // told when it has run

  bool isScanning_ = false;
  unsigned scan_ = 0;
  // By the last part of their paths, which contains the address and stays the same if the adapter
  // gets another number.
  std::unordered_map<std::string, std::shared_ptr<Peripheral>, Hash, std::equal_to<>> peripherals_;

  StackWatch stack_;
  Discovery discovery_;
};

}  // namespace platform::bluez
