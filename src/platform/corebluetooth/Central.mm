#import "platform/corebluetooth/Central.h"

#import "platform/corebluetooth/Peripheral.h"

@interface VornixCentralDelegate : NSObject <CBCentralManagerDelegate> {
 @public
  platform::corebluetooth::Central* owner;  // null once it is gone
}
@end

@implementation VornixCentralDelegate

- (void)centralManagerDidUpdateState:(CBCentralManager*)central {
  owner->didUpdateState();
}

- (void)centralManager:(CBCentralManager*)central
    didDiscoverPeripheral:(CBPeripheral*)peripheral
        advertisementData:(NSDictionary*)advertisementData
                     RSSI:(NSNumber*)RSSI {
  owner->didDiscover(peripheral);
}

- (void)centralManager:(CBCentralManager*)central didConnectPeripheral:(CBPeripheral*)peripheral {
  owner->didConnect(peripheral);
}

// A request stands until the link is up; the framework ends it, seldom, when the set-up of the link
// fails half-way.
- (void)centralManager:(CBCentralManager*)central
    didFailToConnectPeripheral:(CBPeripheral*)peripheral
                         error:(NSError*)error {
  [central connectPeripheral:peripheral options:nil];
}

- (void)centralManager:(CBCentralManager*)central
    didDisconnectPeripheral:(CBPeripheral*)peripheral
                      error:(NSError*)error {
  owner->didDisconnect(peripheral, error);
}

- (void)reportConnected:(CBPeripheral*)peripheral {
  if (owner != nullptr) owner->didDiscover(peripheral);
}

@end

namespace platform::corebluetooth {
namespace {

using NativeCentral = ::CBCentralManager;
using NativeUUID = ::CBUUID;

}  // namespace

Central::Central(CBCentralManagerDelegate& delegate, Mailbox& mailbox, Delivery& delivery)
    : delegate_(delegate),
      mailbox_(mailbox),
      delivery_(delivery),
      nativeDelegate_(Retained<VornixCentralDelegate*>::adopt([VornixCentralDelegate new])),
      native_(nil) {
  nativeDelegate_.get()->owner = this;
  native_ = Retained<::CBCentralManager*>::adopt(
      [[NativeCentral alloc] initWithDelegate:nativeDelegate_.get() queue:nil]);
}

Central::~Central() {
  [native_.get() setDelegate:nil];
  nativeDelegate_.get()->owner = nullptr;
  delivery_.clear();
}

// Every device has the Generic Access service, 1800, by which the connected ones are found.
void Central::scanForPeripherals() {
  @autoreleasepool {
    [native_.get() scanForPeripheralsWithServices:nil options:nil];
    NSArray* const access = @[ [NativeUUID UUIDWithString:@"1800"] ];
    for (id peripheral in [native_.get() retrieveConnectedPeripheralsWithServices:access]) {
      [nativeDelegate_.get() performSelectorOnMainThread:@selector(reportConnected:)
                                              withObject:peripheral
                                           waitUntilDone:NO];
    }
  }
}

void Central::stopScan() {
  @autoreleasepool {
    [native_.get() stopScan];
  }
}

void Central::connect(const std::shared_ptr<CBPeripheral>& peripheral) {
  const auto wanted = std::static_pointer_cast<Peripheral>(peripheral);
  if (wanted->isConnected()) return;
  wanted_.insert(wanted);
  @autoreleasepool {
    [native_.get() connectPeripheral:wanted->native() options:nil];
  }
}

// Links and requests do not outlive the radio's being off or being reset, and need not be reported
// as lost.
void Central::didUpdateState() {
  const auto state = static_cast<CBManagerState>([native_.get() state]);
  if (state == CBManagerState::poweredOn) {
    for (const auto& peripheral : wanted_) {
      [native_.get() connectPeripheral:peripheral->native() options:nil];
    }
  } else {
    for (const auto& known : peripherals_) {
      if (const auto peripheral = known.lock()) peripheral->didLoseLink(nil);
    }
  }
  delivery_.deliver([this, state] {
    state_ = state;
    delegate_.centralManagerDidUpdateState(*this);
  });
}

void Central::didDiscover(::CBPeripheral* native) {
  delivery_.deliver([this, peripheral = peripheralOf(native)] {
    delegate_.centralManagerDidDiscover(*this, peripheral);
  });
}

void Central::didConnect(::CBPeripheral* native) {
  const auto peripheral = peripheralOf(native);
  wanted_.erase(peripheral);
  delivery_.deliver([this, peripheral] { delegate_.centralManagerDidConnect(*this, peripheral); });
}

void Central::didDisconnect(::CBPeripheral* native, NSError* error) {
  peripheralOf(native)->didLoseLink(error);
}

// The framework has one object per device, which its holder here keeps alive.
std::shared_ptr<Peripheral> Central::peripheralOf(::CBPeripheral* native) {
  std::erase_if(peripherals_, [](const auto& known) { return known.expired(); });
  for (const auto& known : peripherals_) {
    const auto peripheral = known.lock();
    if (peripheral->native() == native) return peripheral;
  }
  const auto peripheral = std::make_shared<Peripheral>(native, mailbox_, delivery_);
  peripherals_.push_back(peripheral);
  return peripheral;
}

}  // namespace platform::corebluetooth
