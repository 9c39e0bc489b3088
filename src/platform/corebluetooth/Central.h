// The manager over the framework's own. Main thread.
#pragma once

#import <CoreBluetooth/CoreBluetooth.h>

#include <memory>
#include <set>
#include <vector>

#include "platform/Platform.h"
#include "platform/corebluetooth/Delivery.h"
#include "platform/corebluetooth/Mailbox.h"
#include "platform/corebluetooth/Retained.h"

@class VornixCentralDelegate;

namespace platform::corebluetooth {

class Peripheral;

class Central final : public CBCentralManager {
 public:
  Central(CBCentralManagerDelegate& delegate, Mailbox& mailbox, Delivery& delivery);
  ~Central() override;

  CBManagerState state() const override { return state_; }
  void scanForPeripherals() override;
  void stopScan() override;
  void connect(const std::shared_ptr<CBPeripheral>& peripheral) override;

  // What the framework reports.
  void didUpdateState();
  void didDiscover(::CBPeripheral* native);
  void didConnect(::CBPeripheral* native);
  void didDisconnect(::CBPeripheral* native, NSError* error);

 private:
  std::shared_ptr<Peripheral> peripheralOf(::CBPeripheral* native);

  CBCentralManagerDelegate& delegate_;
  Mailbox& mailbox_;  // that the peripherals use
  Delivery& delivery_;
  Retained<VornixCentralDelegate*> nativeDelegate_;
  Retained<::CBCentralManager*> native_;
  CBManagerState state_ = CBManagerState::unknown;
  std::vector<std::weak_ptr<Peripheral>> peripherals_;  // those that somebody holds
  std::set<std::shared_ptr<Peripheral>> wanted_;        // links asked for and not up yet
};

}  // namespace platform::corebluetooth
