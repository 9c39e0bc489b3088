// The central manager, on top of the framework's. Main thread.
//
// When the radio leaves powered on, the framework's objects for devices become invalid, and a
// device has a new one afterwards. Here it stays the same Peripheral, recognized by its identifier.
#pragma once

#import <CoreBluetooth/CoreBluetooth.h>

#include <map>
#include <memory>

#include "platform/Platform.h"
#include "platform/corebluetooth/Identifier.h"
#include "platform/corebluetooth/MainThread.h"
#include "platform/corebluetooth/Retained.h"
#include "platform/corebluetooth/Seen.h"

@class VornixCentralDelegate;

namespace platform::corebluetooth {

class Peripheral;

class Central final : public CBCentralManager {
 public:
  Central(CBCentralManagerDelegate& delegate, MainThread& main);
  ~Central() override;

  CBManagerState state() const override { return toldState_; }
  void scanForPeripherals() override;
  void stopScan() override;
  void connect(const std::shared_ptr<CBPeripheral>& peripheral) override;

  // What the framework reports.
  void didUpdateState();
  void didDiscover(::CBPeripheral* native);
  void didConnect(::CBPeripheral* native);
  void didFailToConnect(::CBPeripheral* native);
  void didDisconnect(::CBPeripheral* native, NSError* error);

  // Checks whether the user has refused Bluetooth, which the framework does not always report.
  void reconsiderState();

 private:
  bool isPoweredOn() const { return [native_.get() state] == CBManagerStatePoweredOn; }
  void tellState();
  void loseAllLinks();
  void findAllAgain();
  std::shared_ptr<Peripheral> known(::CBPeripheral* native) const;
  std::shared_ptr<Peripheral> knownOrNew(::CBPeripheral* native);
  void requestLink(Peripheral& peripheral);

  CBCentralManagerDelegate& delegate_;
  MainThread& main_;  // shared with the peripherals
  Retained<VornixCentralDelegate*> nativeDelegate_;
  Retained<::CBCentralManager*> native_;
  bool isStateHeldBack_ = true;
  CBManagerState toldState_ = CBManagerState::unknown;
  bool isScanning_ = false;
  unsigned scan_ = 0;
  Seen seen_;
  std::map<Identifier, std::weak_ptr<Peripheral>> peripherals_;  // those that are still referenced
  std::map<Identifier, std::shared_ptr<Peripheral>> wanted_;     // links asked for and not up yet
};

}  // namespace platform::corebluetooth
