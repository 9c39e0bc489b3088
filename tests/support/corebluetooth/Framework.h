// What the radio does with the framework's objects.
#pragma once

#import <CoreBluetooth/CoreBluetooth.h>

#include "support/corebluetooth/Device.h"

@interface CBCentralManager (StandIn)
- (void)radioHasChanged;
@end

@interface CBPeripheral (StandIn)
- (instancetype)initWithDevice:(standin::Device*)aDevice identifier:(NSUUID*)anIdentifier;
- (standin::Device*)device;  // null once it is invalid
- (void)becomeInvalid;
- (NSArray*)loseServices;  // which become invalid
- (void)becomeLinked:(CBPeripheralState)aState name:(NSString*)aName;
- (void)foundService:(NSUInteger)index named:(NSString*)identifier;
- (void)foundNothing;  // an empty list, unless something was found before
@end

@interface CBService (StandIn)
- (void)foundCharacteristic:(NSUInteger)index named:(NSString*)identifier;
- (void)foundNothing;
@end

@interface CBCharacteristic (StandIn)
- (void)become:(NSData*)value;
@end
