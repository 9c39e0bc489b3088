#import "platform/corebluetooth/Central.h"

#import "platform/corebluetooth/Convert.h"
#import "platform/corebluetooth/Peripheral.h"

@interface VornixCentralDelegate : NSObject <CBCentralManagerDelegate> {
 @public
  platform::corebluetooth::Central* owner;
}
@end

@implementation VornixCentralDelegate

- (void)centralManagerDidUpdateState:(CBCentralManager*)central {
  if (owner != nullptr) owner->didUpdateState();
}

- (void)centralManager:(CBCentralManager*)central
    didDiscoverPeripheral:(CBPeripheral*)peripheral
        advertisementData:(NSDictionary*)advertisementData
                     RSSI:(NSNumber*)RSSI {
  if (owner != nullptr) owner->didDiscover(peripheral);
}

- (void)centralManager:(CBCentralManager*)central didConnectPeripheral:(CBPeripheral*)peripheral {
  if (owner != nullptr) owner->didConnect(peripheral);
}

- (void)centralManager:(CBCentralManager*)central
    didFailToConnectPeripheral:(CBPeripheral*)peripheral
                         error:(NSError*)error {
  if (owner != nullptr) owner->didFailToConnect(peripheral);
}

- (void)centralManager:(CBCentralManager*)central
    didDisconnectPeripheral:(CBPeripheral*)peripheral
                      error:(NSError*)error {
  if (owner != nullptr) owner->didDisconnect(peripheral, error);
}

@end

namespace platform::corebluetooth {
namespace {

using NativeCentral = ::CBCentralManager;
using NativeManager = ::CBManager;

// Whether the state is final for now: `unknown` means that it will be known soon, and so does
// `unauthorized` while the user is being asked.
bool isDecided(CBManagerState state) {
  if (state != CBManagerState::unauthorized) return state != CBManagerState::unknown;
  const CBManagerAuthorization authorization = [NativeManager authorization];
  return authorization == CBManagerAuthorizationDenied ||
         authorization == CBManagerAuthorizationRestricted;
}

}  // namespace

Central::Central(CBCentralManagerDelegate& delegate, MainThread& main)
    : delegate_(delegate),
      main_(main),
      nativeDelegate_(Retained<VornixCentralDelegate*>::adopt([VornixCentralDelegate new])),
      native_(nil) {
  main_.central = this;
  nativeDelegate_.get()->owner = this;
  native_ = Retained<::CBCentralManager*>::adopt(
      [[NativeCentral alloc] initWithDelegate:nativeDelegate_.get() queue:nil]);
}

Central::~Central() {
  @autoreleasepool {
    [native_.get() setDelegate:nil];
    nativeDelegate_.get()->owner = nullptr;
    main_.central = nullptr;
    loseAllLinks();
    main_.delivery.clear();
  }
}

// Allows duplicates, since the framework would otherwise not report a device again when its name
// becomes known. Connected devices are found by the Generic Access service, 1800, which all have.
void Central::scanForPeripherals() {
  if (!isPoweredOn()) return;
  isScanning_ = true;
  ++scan_;
  seen_.clear();
  @autoreleasepool {
    [native_.get() scanForPeripheralsWithServices:nil
                                          options:@{
                                            CBCentralManagerScanOptionAllowDuplicatesKey : @(YES)
                                          }];
    NSArray* const access = nativeIdentifiers({CBUUID::UUIDWithString("1800")});
    for (id peripheral in [native_.get() retrieveConnectedPeripheralsWithServices:access]) {
      didDiscover(peripheral);
    }
  }
}

void Central::stopScan() {
  isScanning_ = false;
  @autoreleasepool {
    [native_.get() stopScan];
  }
}

void Central::connect(const std::shared_ptr<CBPeripheral>& peripheral) {
  const auto wanted = std::static_pointer_cast<Peripheral>(peripheral);
  if (wanted->isLinked() || !wanted_.emplace(wanted->identifier(), wanted).second) return;
  requestLink(*wanted);
}

// If the link cannot be asked for now, that is done when the device is found again.
void Central::requestLink(Peripheral& peripheral) {
  if (!isPoweredOn() || peripheral.native() == nil) return;
  @autoreleasepool {
    [native_.get() connectPeripheral:peripheral.native() options:nil];
  }
}

void Central::didUpdateState() {
  isStateHeldBack_ = true;
  if (isPoweredOn()) {
    findAllAgain();
  } else {
    isScanning_ = false;
    loseAllLinks();
  }
  reconsiderState();
}

void Central::reconsiderState() {
  if (!isStateHeldBack_ || !isDecided(static_cast<CBManagerState>([native_.get() state]))) return;
  isStateHeldBack_ = false;
  tellState();
}

void Central::tellState() {
  const auto state = static_cast<CBManagerState>([native_.get() state]);
  main_.delivery.push([this, state] {
    toldState_ = state;
    delegate_.centralManagerDidUpdateState(*this);
  });
}

// Links and requests end when the radio is switched off or reset; the loss need not be reported.
void Central::loseAllLinks() {
  for (const auto& [identifier, known] : peripherals_) {
    if (const auto peripheral = known.lock()) peripheral->become(nil);
  }
}

// A device that is not found now will be when it is discovered.
void Central::findAllAgain() {
  NSMutableArray* const identifiers = [NSMutableArray array];
  for (const auto& [identifier, held] : peripherals_) {
    if (held.expired()) continue;
    Identifier bytes = identifier;
    [identifiers addObject:[[[NSUUID alloc] initWithUUIDBytes:bytes.data()] autorelease]];
  }
  if ([identifiers count] == 0) return;
  for (id native in [native_.get() retrievePeripheralsWithIdentifiers:identifiers]) {
    knownOrNew(native);
  }
}

void Central::didDiscover(::CBPeripheral* native) {
  if (!isScanning_ || !seen_.isNews(identifierOf(native), [native name] != nil)) return;
  main_.delivery.push([this, scan = scan_, peripheral = knownOrNew(native)] {
    if (isScanning_ && scan == scan_) delegate_.centralManagerDidDiscover(*this, peripheral);
  });
}

void Central::didConnect(::CBPeripheral* native) {
  const auto peripheral = known(native);
  if (peripheral == nullptr || !peripheral->didConnect()) return;
  wanted_.erase(peripheral->identifier());
  main_.delivery.push(
      [this, peripheral] { delegate_.centralManagerDidConnect(*this, peripheral); });
}

// The request is over and is not repeated: a device that has forgotten its pairing would fail at
// once each time.
void Central::didFailToConnect(::CBPeripheral* native) {
  wanted_.erase(identifierOf(native));
}

void Central::didDisconnect(::CBPeripheral* native, NSError* error) {
  if (const auto peripheral = known(native)) peripheral->didLoseLink(error);
}

std::shared_ptr<Peripheral> Central::known(::CBPeripheral* native) const {
  const auto known = peripherals_.find(identifierOf(native));
  return known != peripherals_.end() ? known->second.lock() : nullptr;
}

// For a device that is known already, a new object of the framework replaces the old one.
std::shared_ptr<Peripheral> Central::knownOrNew(::CBPeripheral* native) {
  auto peripheral = known(native);
  if (peripheral == nullptr) {
    std::erase_if(peripherals_, [](const auto& entry) { return entry.second.expired(); });
    peripheral = std::make_shared<Peripheral>(native, main_);
    peripherals_[peripheral->identifier()] = peripheral;
  } else if (peripheral->native() == nil) {
    peripheral->become(native);
    if (wanted_.contains(peripheral->identifier())) requestLink(*peripheral);
  }
  return peripheral;
}

}  // namespace platform::corebluetooth
