#import "corebluetooth/standin/Device.h"

#include <utility>
#include <variant>

#import "corebluetooth/standin/Framework.h"

namespace standin {
namespace {

NSString* nativeText(const std::string& text) {
  return text.empty() ? nil : @(text.c_str());
}

NSError* attError(int code) {
  if (code == 0) return nil;
  NSString* const message = [NSString stringWithFormat:@"The device answered 0x%02X.", code];
  return [NSError errorWithDomain:CBATTErrorDomain
                             code:code
                         userInfo:@{NSLocalizedDescriptionKey : message}];
}

NSError* attError(lab::AttError error) {
  return attError(static_cast<int>(error));
}

NSError* disconnected() {
  NSString* const message = @"The specified device has disconnected from us.";
  return [NSError errorWithDomain:CBErrorDomain
                             code:CBErrorPeripheralDisconnected
                         userInfo:@{NSLocalizedDescriptionKey : message}];
}

NSError* forgotten() {
  NSString* const message = @"Peer removed pairing information";
  return [NSError errorWithDomain:CBErrorDomain
                             code:CBErrorPeerRemovedPairingInformation
                         userInfo:@{NSLocalizedDescriptionKey : message}];
}

NSData* nativeData(std::span<const std::uint8_t> bytes) {
  return [NSData dataWithBytes:bytes.data() length:bytes.size()];
}

bool isWanted(NSArray* identifiers, const std::string& identifier) {
  return identifiers == nil ||
         [identifiers containsObject:[CBUUID UUIDWithString:@(identifier.c_str())]];
}

// After which a model is asked again that is late.
constexpr lab::Microseconds kAgain{1000};

constexpr lab::Microseconds kAdvertisingInterval{100'000};

}  // namespace

Device::Device(Air& air, lab::DeviceModel& model)
    : air_(air), model_(model), identifier_(Retained<NSUUID*>::adopt([NSUUID new])) {}

Device::~Device() {
  if (object_ != nil) [object_ becomeInvalid];
}

CBPeripheral* Device::object() {
  if (object_ != nil) return object_;
  object_ = [[CBPeripheral alloc] initWithDevice:this identifier:identifier_.get()];
  const bool isConnected = isLinked_ && !isOurs_;
  [object_ becomeLinked:isConnected ? CBPeripheralStateConnected : CBPeripheralStateDisconnected
                   name:nativeText(model_.name())];
  return [object_ autorelease];
}

void Device::forgetObject() {
  object_ = nil;
  isWanted_ = false;
}

void Device::forgetCentral() {
  isWanted_ = isOurs_ = isToldLinked_ = false;
  requests_.clear();
  [object_ becomeLinked:CBPeripheralStateDisconnected name:[object_ name]];
}

void Device::setPresent(bool isPresent) {
  isPresent_ = isPresent;
  if (!isPresent) return loseLink(true);
  air_.report(*this);
  wake();
  tryToConnect();
}

void Device::reported() {
  isReported_ = isKnown_ = true;
  CBPeripheral* const peripheral = object();
  NSString* const name = nativeText(model_.name());
  NSString* const local = faults.localName ? nativeText(*faults.localName) : name;
  const Retained<NSDictionary*> data(local != nil ? @{CBAdvertisementDataLocalNameKey : local}
                                                  : @{});
  const Retained<NSString*> known(name);
  const Retained<CBPeripheral*> held(peripheral);
  air_.tell([held, data, known] {
    CBPeripheral* const seen = held.get();
    CBCentralManager* const manager = Air::shared().manager;
    if ([seen device] == nullptr || manager == nil) return;
    if (known.get() != nil) [seen becomeLinked:[seen state] name:known.get()];
    [manager.delegate centralManager:manager
               didDiscoverPeripheral:seen
                   advertisementData:data.get()
                                RSSI:@(-50)];
  });
  if (!air_.isRepeating()) return;
  air_.after(kAdvertisingInterval, [this, report = ++report_] {
    if (report == report_) air_.report(*this);
  });
}

void Device::want() {
  air_.call([this] {
    ++air_.connectionAttempts;
    isWanted_ = true;
    tryToConnect();
  });
}

void Device::tryToConnect() {
  air_.post([this] {
    if (isWanted_ && isPresent_ && air_.state() == CBManagerStatePoweredOn) linkUp();
  });
}

void Device::linkUp() {
  isWanted_ = false;
  if (faults.failedConnections > 0) {
    --faults.failedConnections;
    const Retained<NSError*> error(forgotten());
    return tell([error](CBPeripheral* peripheral) {
      CBCentralManager* const manager = Air::shared().manager;
      [manager.delegate centralManager:manager
            didFailToConnectPeripheral:peripheral
                                 error:error.get()];
    });
  }
  if (!std::exchange(isLinked_, true)) {
    ++link_;
    model_.connected(*this);
    wake();
  }
  isOurs_ = true;
  tellLink();
  if (faults.connectsTwice) tellLink();
}

void Device::tellLink() {
  tell([this, link = link_](CBPeripheral* peripheral) {
    CBCentralManager* const manager = Air::shared().manager;
    if (link == link_) isToldLinked_ = true;
    [peripheral becomeLinked:CBPeripheralStateConnected name:nativeText(model_.name())];
    [manager.delegate centralManager:manager didConnectPeripheral:peripheral];
  });
}

void Device::holdByAnother() {
  if (std::exchange(isLinked_, true)) return;
  ++link_;
  model_.connected(*this);
  wake();
  [object_ becomeLinked:CBPeripheralStateConnected name:[object_ name]];
}

// The object that was there stays with whoever holds it, good for nothing.
void Device::radioIsOff() {
  isWanted_ = false;
  loseLink(false);
  [object_ becomeInvalid];
  object_ = nil;
}

void Device::modifyServices() {
  air_.call([this] {
    subscribed_.clear();
    requests_.clear();
    tell([](CBPeripheral* peripheral) {
      NSArray* const lost = [peripheral loseServices];
      if ([peripheral.delegate respondsToSelector:@selector(peripheral:didModifyServices:)]) {
        [peripheral.delegate peripheral:peripheral didModifyServices:lost];
      }
    });
  });
}

void Device::loseLink(bool isReported) {
  if (!std::exchange(isLinked_, false)) return;
  ++link_;
  subscribed_.clear();
  isOurs_ = false;
  for (const Request& request : std::exchange(requests_, {})) {
    if (faults.failsWaitingRequests) request.fail(disconnected());
  }
  model_.disconnected();
  wake();
  tell([this, isReported, link = link_](CBPeripheral* peripheral) {
    CBCentralManager* const manager = Air::shared().manager;
    if (link == link_) isToldLinked_ = false;
    [peripheral becomeLinked:CBPeripheralStateDisconnected name:[peripheral name]];
    if (!isReported) return;
    [manager.delegate centralManager:manager
             didDisconnectPeripheral:peripheral
                               error:disconnected()];
  });
  air_.report(*this);
}

// Not at once: the model is in the middle of something.
void Device::drop() {
  air_.post([this] { loseLink(true); });
}

void Device::request(Request request) {
  air_.call([this, request = std::move(request)] {
    if (!isOurs_) return;
    requests_.push_back(request);
    if (requests_.size() == 1) startNext();
  });
}

void Device::startNext() {
  air_.post([this, link = link_] {
    if (link != link_ || requests_.empty() || faults.isSilent) return;
    const Request current = requests_.front();
    current.carryOut();
    if (link != link_) return;
    requests_.pop_front();
    wake();
    if (!requests_.empty()) startNext();
  });
}

void Device::discoverServices(NSArray* identifiers) {
  const auto answer = [this](NSError* error) {
    const Retained<NSError*> held(error);
    tell([held](CBPeripheral* peripheral) {
      [peripheral.delegate peripheral:peripheral didDiscoverServices:held.get()];
    });
  };
  const Retained<NSArray*> wanted(identifiers);
  request({[this, wanted, answer] {
             if (std::exchange(faults.dropsAtDiscovery, false)) return loseLink(true);
             if (faults.discoveryError) return answer(attError(*faults.discoveryError));
             tell([this, wanted](CBPeripheral* peripheral) {
               [peripheral foundNothing];
               for (NSUInteger i = 0; i < model_.services().size(); ++i) {
                 const std::string& identifier = model_.services()[i].uuid;
                 if (!isWanted(wanted.get(), identifier)) continue;
                 [peripheral foundService:i named:@(identifier.c_str())];
               }
             });
             answer(nil);
           },
           answer});
}

void Device::discoverCharacteristics(NSArray* identifiers, CBService* service) {
  const Retained<CBService*> in(service);
  const Retained<NSArray*> wanted(identifiers);
  const auto answer = [this, in](NSError* error) {
    const Retained<NSError*> held(error);
    tell([in, held](CBPeripheral* peripheral) {
      [peripheral.delegate peripheral:peripheral
          didDiscoverCharacteristicsForService:in.get()
                                         error:held.get()];
    });
  };
  request({[this, in, wanted, answer] {
             tell([this, in, wanted](CBPeripheral*) {
               [in.get() foundNothing];
               NSUInteger index = 0;
               for (NSUInteger i = 0; i < in.get()->index; ++i) {
                 index += model_.services()[i].characteristics.size();
               }
               for (const auto& each : model_.services()[in.get()->index].characteristics) {
                 if (isWanted(wanted.get(), each.uuid)) {
                   [in.get() foundCharacteristic:index named:@(each.uuid.c_str())];
                 }
                 ++index;
               }
             });
             answer(nil);
           },
           answer});
}

const lab::Characteristic& Device::declared(lab::CharacteristicIndex index) const {
  for (const lab::Service& service : model_.services()) {
    if (index < service.characteristics.size()) return service.characteristics[index];
    index -= service.characteristics.size();
  }
  std::abort();
}

void Device::read(CBCharacteristic* characteristic) {
  const Retained<CBCharacteristic*> held(characteristic);
  request({[this, held] {
             lab::ReadResult result = lab::AttError::readNotPermitted;
             if (declared(held.get()->index).read) result = model_.read(held.get()->index);
             if (const auto* value = std::get_if<lab::Bytes>(&result)) {
               tellValue(held.get(), nativeData(*value), nil);
             } else {
               tellValue(held.get(), nil, attError(std::get<lab::AttError>(result)));
             }
           },
           [this, held](NSError* error) { tellValue(held.get(), nil, error); }});
}

void Device::write(NSData* value, CBCharacteristic* characteristic) {
  const auto* const bytes = static_cast<const std::uint8_t*>([value bytes]);
  request({[this, index = characteristic->index, copy = lab::Bytes(bytes, bytes + [value length])] {
             if (declared(index).write) model_.write(index, copy);
           },
           [](NSError*) {}});
}

void Device::setNotify(bool enabled, CBCharacteristic* characteristic) {
  const Retained<CBCharacteristic*> held(characteristic);
  request({[this, held, enabled] {
             const lab::CharacteristicIndex index = held.get()->index;
             constexpr int kRequestNotSupported = 0x06;
             if (!declared(index).notify && !declared(index).indicate) {
               return tellNotificationState(held.get(), attError(kRequestNotSupported));
             }
             if (enabled) subscribed_.insert(index);
             const lab::AttError error = model_.subscribe(index, enabled);
             if (error != lab::AttError::none || !enabled) subscribed_.erase(index);
             advance();  // a value that the model sends now comes first
             tellNotificationState(held.get(), attError(error));
           },
           [this, held](NSError* error) { tellNotificationState(held.get(), error); }});
}

bool Device::notify(lab::CharacteristicIndex index, std::span<const std::uint8_t> value) {
  if (!subscribed_.contains(index)) return true;
  for (CBService* service in [object_ services]) {
    for (CBCharacteristic* each in [service characteristics]) {
      if (each->index != index) continue;
      tellValue(each, nativeData(value.first(std::min(value.size(), largestNotification()))), nil);
    }
  }
  return true;
}

void Device::wake() {
  air_.post([this, turn = ++turn_] {
    if (turn == turn_) advance();
  });
}

void Device::advance() {
  const lab::Microseconds now = air_.now();
  const std::optional<lab::Microseconds> next = model_.advance(now);
  if (!next) return;
  air_.after(*next > now ? *next - now : kAgain, [this, turn = ++turn_] {
    if (turn == turn_) advance();
  });
}

void Device::tell(std::function<void(CBPeripheral*)> call) {
  air_.tell([call = std::move(call), peripheral = Retained(object_)] {
    if (peripheral.get() != nil && [peripheral.get() device] != nullptr) call(peripheral.get());
  });
}

// An error leaves the value as it was.
void Device::tellValue(CBCharacteristic* characteristic, NSData* value, NSError* error) {
  const Retained<CBCharacteristic*> of(characteristic);
  const Retained<NSData*> data(value);
  const Retained<NSError*> held(error);
  tell([of, data, held](CBPeripheral* peripheral) {
    if (held.get() == nil) [of.get() become:data.get()];
    [peripheral.delegate peripheral:peripheral
        didUpdateValueForCharacteristic:of.get()
                                  error:held.get()];
  });
}

void Device::tellNotificationState(CBCharacteristic* characteristic, NSError* error) {
  const Retained<CBCharacteristic*> of(characteristic);
  const Retained<NSError*> held(error);
  tell([of, held](CBPeripheral* peripheral) {
    [peripheral.delegate peripheral:peripheral
        didUpdateNotificationStateForCharacteristic:of.get()
                                              error:held.get()];
  });
}

}  // namespace standin
