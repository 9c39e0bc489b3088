// Stands in for the framework of the same name where there is none: the classes and protocols that
// the layer uses, as their documentation describes them, over devices on a radio of the tests' own
// (Air.h).
//
// It keeps no promise that is not documented, and where the documentation is silent it does what is
// worst for the layer: lists keep what earlier discoveries have found, a failed read leaves the
// value of an earlier one, a device that nobody holds becomes another object, and so does each when
// the radio is not powered on, a value comes before its subscription is confirmed, a device is
// reported once in a scan unless duplicates are asked for, and then again and again.
#pragma once

#import <Foundation/Foundation.h>

typedef NS_ENUM(NSInteger, CBManagerState) {
  CBManagerStateUnknown = 0,
  CBManagerStateResetting,
  CBManagerStateUnsupported,
  CBManagerStateUnauthorized,
  CBManagerStatePoweredOff,
  CBManagerStatePoweredOn,
};

typedef NS_ENUM(NSInteger, CBManagerAuthorization) {
  CBManagerAuthorizationNotDetermined = 0,
  CBManagerAuthorizationRestricted,
  CBManagerAuthorizationDenied,
  CBManagerAuthorizationAllowedAlways,
};

typedef NS_ENUM(NSInteger, CBPeripheralState) {
  CBPeripheralStateDisconnected = 0,
  CBPeripheralStateConnecting,
  CBPeripheralStateConnected,
  CBPeripheralStateDisconnecting,
};

typedef NS_ENUM(NSInteger, CBCharacteristicWriteType) {
  CBCharacteristicWriteWithResponse = 0,
  CBCharacteristicWriteWithoutResponse,
};

extern NSString* const CBErrorDomain;
extern NSString* const CBATTErrorDomain;
extern NSString* const CBAdvertisementDataLocalNameKey;
extern NSString* const CBCentralManagerScanOptionAllowDuplicatesKey;

typedef NS_ENUM(NSInteger, CBError) {
  CBErrorUnknown = 0,
  CBErrorInvalidHandle = 2,
  CBErrorNotConnected = 3,
  CBErrorConnectionTimeout = 6,
  CBErrorPeripheralDisconnected = 7,
  CBErrorConnectionFailed = 10,
  CBErrorPeerRemovedPairingInformation = 14,
};

@class CBCentralManager;
@class CBCharacteristic;
@class CBPeripheral;
@class CBService;

@interface CBUUID : NSObject <NSCopying> {
  NSString* text;
}
@property(nonatomic, readonly) NSString* UUIDString;
+ (CBUUID*)UUIDWithString:(NSString*)string;
@end

@interface CBCharacteristic : NSObject {
 @package
  CBUUID* identifier;
  NSUInteger index;  // over all services
  NSData* latest;
  BOOL isInvalid;
}
@property(retain, readonly, nonatomic) CBUUID* UUID;
@property(retain, readonly) NSData* value;
@end

@interface CBService : NSObject {
 @package
  CBUUID* identifier;
  NSUInteger index;
  NSMutableArray* found;
  BOOL isInvalid;
}
@property(retain, readonly, nonatomic) CBUUID* UUID;
@property(retain, readonly) NSArray* characteristics;
@end

@protocol CBPeripheralDelegate <NSObject>
@optional
- (void)peripheral:(CBPeripheral*)peripheral didDiscoverServices:(NSError*)error;
- (void)peripheral:(CBPeripheral*)peripheral didModifyServices:(NSArray*)invalidatedServices;
- (void)peripheral:(CBPeripheral*)peripheral
    didDiscoverCharacteristicsForService:(CBService*)service
                                   error:(NSError*)error;
- (void)peripheral:(CBPeripheral*)peripheral
    didUpdateValueForCharacteristic:(CBCharacteristic*)characteristic
                              error:(NSError*)error;
- (void)peripheral:(CBPeripheral*)peripheral
    didUpdateNotificationStateForCharacteristic:(CBCharacteristic*)characteristic
                                          error:(NSError*)error;
@end

@interface CBPeripheral : NSObject {
 @package
  id<CBPeripheralDelegate> receiver;
  NSUUID* deviceIdentifier;
  NSString* knownName;
  CBPeripheralState linkState;
  NSMutableArray* found;
  void* device;  // of the radio; null once the object is invalid
}
@property(assign, nonatomic) id<CBPeripheralDelegate> delegate;
@property(readonly, nonatomic) NSUUID* identifier;
@property(retain, readonly) NSString* name;
@property(readonly) CBPeripheralState state;
@property(retain, readonly) NSArray* services;
- (void)discoverServices:(NSArray*)serviceUUIDs;
- (void)discoverCharacteristics:(NSArray*)characteristicUUIDs forService:(CBService*)service;
- (void)readValueForCharacteristic:(CBCharacteristic*)characteristic;
- (void)writeValue:(NSData*)data
    forCharacteristic:(CBCharacteristic*)characteristic
                 type:(CBCharacteristicWriteType)type;
- (void)setNotifyValue:(BOOL)enabled forCharacteristic:(CBCharacteristic*)characteristic;
@end

@protocol CBCentralManagerDelegate <NSObject>
- (void)centralManagerDidUpdateState:(CBCentralManager*)central;
@optional
- (void)centralManager:(CBCentralManager*)central
    didDiscoverPeripheral:(CBPeripheral*)peripheral
        advertisementData:(NSDictionary*)advertisementData
                     RSSI:(NSNumber*)RSSI;
- (void)centralManager:(CBCentralManager*)central didConnectPeripheral:(CBPeripheral*)peripheral;
- (void)centralManager:(CBCentralManager*)central
    didFailToConnectPeripheral:(CBPeripheral*)peripheral
                         error:(NSError*)error;
- (void)centralManager:(CBCentralManager*)central
    didDisconnectPeripheral:(CBPeripheral*)peripheral
                      error:(NSError*)error;
@end

@interface CBManager : NSObject {
 @package
  CBManagerState knownState;
}
@property(nonatomic, readonly) CBManagerState state;
+ (CBManagerAuthorization)authorization;
@end

@interface CBCentralManager : CBManager {
 @package
  id<CBCentralManagerDelegate> receiver;
}
@property(nonatomic, assign) id<CBCentralManagerDelegate> delegate;
- (instancetype)initWithDelegate:(id<CBCentralManagerDelegate>)delegate queue:(id)queue;
- (void)scanForPeripheralsWithServices:(NSArray*)serviceUUIDs options:(NSDictionary*)options;
- (void)stopScan;
- (void)connectPeripheral:(CBPeripheral*)peripheral options:(NSDictionary*)options;
- (NSArray*)retrievePeripheralsWithIdentifiers:(NSArray*)identifiers;
- (NSArray*)retrieveConnectedPeripheralsWithServices:(NSArray*)serviceUUIDs;
@end
