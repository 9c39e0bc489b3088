#import "support/corebluetooth/Framework.h"

#include "support/corebluetooth/Air.h"

NSString* const CBErrorDomain = @"CBErrorDomain";
NSString* const CBATTErrorDomain = @"CBATTErrorDomain";
NSString* const CBAdvertisementDataLocalNameKey = @"kCBAdvDataLocalName";
NSString* const CBCentralManagerScanOptionAllowDuplicatesKey = @"kCBScanOptionAllowDuplicates";

using standin::Air;
using standin::Device;

namespace {

// The object of that index in a list in handle order, made where it is missing.
template <class Object>
void insert(NSMutableArray* list, NSUInteger index, NSString* identifier) {
  NSUInteger place = 0;
  for (Object* known in list) {
    if (known->index == index) return;
    if (known->index < index) ++place;
  }
  Object* const object = [Object new];
  object->index = index;
  object->identifier = [[CBUUID UUIDWithString:identifier] retain];
  [list insertObject:object atIndex:place];
  [object release];
}

}  // namespace

@implementation CBUUID

+ (CBUUID*)UUIDWithString:(NSString*)string {
  CBUUID* const made = [CBUUID new];
  made->text = [[string uppercaseString] copy];
  return [made autorelease];
}

- (void)dealloc {
  [text release];
  [super dealloc];
}

- (id)copyWithZone:(NSZone*)zone {
  static_cast<void>(zone);
  return [self retain];
}

- (NSString*)UUIDString {
  return text;
}

- (NSString*)whole {
  if ([text length] == 36) return text;
  NSString* const head = [text length] == 4 ? [@"0000" stringByAppendingString:text] : text;
  return [head stringByAppendingString:@"-0000-1000-8000-00805F9B34FB"];
}

- (BOOL)isEqual:(id)other {
  return [other isKindOfClass:[CBUUID class]] && [[self whole] isEqualToString:[other whole]];
}

- (NSUInteger)hash {
  return [[self whole] hash];
}

- (NSString*)description {
  return text;
}

@end

@implementation CBCharacteristic

- (instancetype)init {
  self = [super init];
  ++Air::shared().objects;
  return self;
}

- (void)dealloc {
  --Air::shared().objects;
  [identifier release];
  [latest release];
  [super dealloc];
}

- (CBUUID*)UUID {
  return identifier;
}

- (NSData*)value {
  return latest;
}

- (void)become:(NSData*)value {
  [latest release];
  latest = [value copy];
}

@end

@implementation CBService

- (instancetype)init {
  self = [super init];
  ++Air::shared().objects;
  return self;
}

- (void)dealloc {
  --Air::shared().objects;
  [identifier release];
  [found release];
  [super dealloc];
}

- (CBUUID*)UUID {
  return identifier;
}

- (NSArray*)characteristics {
  return [[found copy] autorelease];
}

- (void)foundCharacteristic:(NSUInteger)which named:(NSString*)name {
  [self foundNothing];
  insert<CBCharacteristic>(found, which, name);
}

- (void)foundNothing {
  if (found == nil) found = [NSMutableArray new];
}

@end

@implementation CBPeripheral

@synthesize delegate = receiver;

- (instancetype)initWithDevice:(Device*)aDevice identifier:(NSUUID*)anIdentifier {
  self = [super init];
  if (self) {
    ++Air::shared().objects;
    device = aDevice;
    deviceIdentifier = [anIdentifier retain];
  }
  return self;
}

- (void)dealloc {
  --Air::shared().objects;
  if (device != nullptr) [self device]->forgetObject();
  [deviceIdentifier release];
  [knownName release];
  [found release];
  [super dealloc];
}

- (Device*)device {
  return static_cast<Device*>(device);
}

- (NSUUID*)identifier {
  return deviceIdentifier;
}

- (NSString*)name {
  return [[knownName retain] autorelease];
}

- (CBPeripheralState)state {
  return linkState;
}

- (NSArray*)services {
  return [[found copy] autorelease];
}

- (void)becomeLinked:(CBPeripheralState)aState name:(NSString*)aName {
  linkState = aState;
  NSString* const before = knownName;
  knownName = [aName copy];
  [before release];
  if (aState == CBPeripheralStateConnected) return;
  [self loseServices];
}

// What it says stays: only nothing comes of it any more.
- (void)becomeInvalid {
  device = nullptr;
}

- (NSArray*)loseServices {
  NSArray* const lost = [found autorelease];
  found = nil;
  for (CBService* service in lost) {
    service->isInvalid = YES;
    for (CBCharacteristic* characteristic in [service characteristics]) {
      characteristic->isInvalid = YES;
    }
  }
  return lost;
}

- (void)foundService:(NSUInteger)index named:(NSString*)identifier {
  [self foundNothing];
  insert<CBService>(found, index, identifier);
}

- (void)foundNothing {
  if (found == nil) found = [NSMutableArray new];
}

- (BOOL)isUsable:(BOOL)isArgumentInvalid {
  if (device == nullptr) return NO;
  const BOOL isOurs = linkState == CBPeripheralStateConnected && [self device]->isToldLinked();
  if (isOurs && !isArgumentInvalid) return YES;
  ++Air::shared().misuses;
  return NO;
}

- (void)discoverServices:(NSArray*)identifiers {
  if ([self isUsable:NO]) [self device]->discoverServices(identifiers);
}

- (void)discoverCharacteristics:(NSArray*)identifiers forService:(CBService*)service {
  if (![self isUsable:service->isInvalid]) return;
  [self device]->discoverCharacteristics(identifiers, service);
}

- (void)readValueForCharacteristic:(CBCharacteristic*)characteristic {
  if ([self isUsable:characteristic->isInvalid]) [self device]->read(characteristic);
}

- (void)writeValue:(NSData*)data
    forCharacteristic:(CBCharacteristic*)characteristic
                 type:(CBCharacteristicWriteType)type {
  if (type != CBCharacteristicWriteWithResponse) ++Air::shared().misuses;
  if ([self isUsable:characteristic->isInvalid]) [self device]->write(data, characteristic);
}

- (void)setNotifyValue:(BOOL)enabled forCharacteristic:(CBCharacteristic*)characteristic {
  if (![self isUsable:characteristic->isInvalid]) return;
  [self device]->setNotify(enabled, characteristic);
}

@end

@implementation CBManager

- (CBManagerState)state {
  return knownState;
}

+ (CBManagerAuthorization)authorization {
  return static_cast<CBManagerAuthorization>(Air::shared().authorization);
}

@end

@implementation CBCentralManager

@synthesize delegate = receiver;

- (instancetype)initWithDelegate:(id<CBCentralManagerDelegate>)aDelegate queue:(id)queue {
  self = [super init];
  if (self) {
    ++Air::shared().objects;
    if (queue != nil || Air::shared().manager != nil) ++Air::shared().misuses;
    receiver = aDelegate;
    Air::shared().manager = self;
    [self radioHasChanged];
  }
  return self;
}

- (void)dealloc {
  --Air::shared().objects;
  if (Air::shared().manager == self) [self endCentral];
  [super dealloc];
}

- (void)endCentral {
  Air::shared().manager = nil;
  Air::shared().stopScan();
  @autoreleasepool {
    for (const auto& device : Air::shared().devices()) device->forgetCentral();
  }
}

- (void)radioHasChanged {
  const auto state = static_cast<CBManagerState>(Air::shared().state());
  Air::shared().tell([self, state] {
    if (Air::shared().manager != self) return;
    knownState = state;
    if (state != CBManagerStatePoweredOn) Air::shared().forgetRequests();
    [receiver centralManagerDidUpdateState:self];
  });
}

- (BOOL)isUsable {
  if (knownState == CBManagerStatePoweredOn) return YES;
  ++Air::shared().misuses;
  return NO;
}

- (void)scanForPeripheralsWithServices:(NSArray*)serviceUUIDs options:(NSDictionary*)options {
  if (serviceUUIDs != nil) ++Air::shared().misuses;
  NSNumber* const duplicates = [options objectForKey:CBCentralManagerScanOptionAllowDuplicatesKey];
  const bool isRepeating = [duplicates boolValue];
  if ([self isUsable]) Air::shared().startScan(isRepeating);
}

- (void)stopScan {
  Air::shared().stopScan();
}

- (void)connectPeripheral:(CBPeripheral*)peripheral options:(NSDictionary*)options {
  if (options != nil) ++Air::shared().misuses;
  if ([self isUsable] && peripheral->device != nullptr) [peripheral device]->want();
}

- (NSArray*)retrievePeripheralsWithIdentifiers:(NSArray*)identifiers {
  NSMutableArray* const known = [NSMutableArray array];
  if (![self isUsable]) return known;
  for (const auto& device : Air::shared().devices()) {
    if (device->isKnown() && [identifiers containsObject:device->identifier()]) {
      [known addObject:device->object()];
    }
  }
  return known;
}

- (NSArray*)retrieveConnectedPeripheralsWithServices:(NSArray*)serviceUUIDs {
  NSMutableArray* const connected = [NSMutableArray array];
  if (![serviceUUIDs containsObject:[CBUUID UUIDWithString:@"1800"]]) return connected;
  for (const auto& device : Air::shared().devices()) {
    if (!device->isLinked()) continue;
    [connected addObject:device->object()];
    device->retrieved();
  }
  return connected;
}

@end
