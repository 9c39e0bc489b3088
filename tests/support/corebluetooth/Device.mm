#import "support/corebluetooth/Device.h"

#include <algorithm>
#include <array>
#include <utility>
#include <variant>

#import "support/corebluetooth/Framework.h"

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

// After which a link ends whose device owes an answer.
constexpr lab::Microseconds kPatience{30'000'000};

// The device's own refusal.
constexpr int kInsufficientAuthentication = 0x05;

// The same in each run.
NSUUID* numbered(std::size_t number) {
  std::array<unsigned char, 16> bytes{};
  bytes.back() = static_cast<unsigned char>(number + 1);
  return [[NSUUID alloc] initWithUUIDBytes:bytes.data()];
}

}  // namespace

Device::Device(Air& air, lab::DeviceModel& model, std::size_t number)
    : air_(air),
      model_(model),
      key_("device " + std::to_string(number)),
      identifier_(Retained<NSUUID*>::adopt(numbered(number))) {}

Device::~Device() {
  if (object_ != nil) [object_ becomeInvalid];
}

CBPeripheral* Device::object() {
  if (object_ != nil) return object_;
  object_ = [[CBPeripheral alloc] initWithDevice:this identifier:identifier_.get()];
  const bool isConnected = isLinked_ && !isOurs_;
  [object_ becomeLinked:isConnected ? CBPeripheralStateConnected : CBPeripheralStateDisconnected
                   name:nameNow()];
  return [object_ autorelease];
}

NSString* Device::nameNow() const {
  return isNameKnown() ? nativeText(model_.name()) : nil;
}

bool Device::isSubscribed(std::string_view uuid) const {
  return std::ranges::any_of(subscribed_, [&](auto index) { return uuidOf(index) == uuid; });
}

void Device::witness(const Seen& seen) const {
  if (air_.witness != nullptr && seen) seen(*air_.witness);
}

void Device::forgetObject() {
  object_ = nil;
  isWanted_ = isAskedFor_ = false;
}

void Device::forgetCentral() {
  isWanted_ = isAskedFor_ = isOurs_ = isToldLinked_ = isStuck_ = false;
  requests_.clear();
  for (const auto index : std::exchange(subscribed_, {})) model_.subscribe(index, false);
  [object_ becomeLinked:CBPeripheralStateDisconnected name:[object_ name]];
}

void Device::forgetProgram() {
  forgetCentral();
  if (!isHeld_) loseLink(false);
  [object_ becomeInvalid];
  object_ = nil;
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
  ++reports_;
  CBPeripheral* const peripheral = object();
  NSString* const name = nameNow();
  NSString* const local = faults.localName ? nativeText(*faults.localName) : name;
  const Retained<NSDictionary*> data(local != nil ? @{CBAdvertisementDataLocalNameKey : local}
                                                  : @{});
  const Retained<NSString*> known(name);
  const Retained<CBPeripheral*> held(peripheral);
  air_.tell([this, held, data, known] {
    CBPeripheral* const seen = held.get();
    CBCentralManager* const manager = Air::shared().manager;
    if ([seen device] == nullptr || manager == nil) return;
    if (known.get() != nil) [seen becomeLinked:[seen state] name:known.get()];
    beSeen();
    [manager.delegate centralManager:manager
               didDiscoverPeripheral:seen
                   advertisementData:data.get()
                                RSSI:@(-50)];
  });
  if (!air_.isRepeating()) return;
  air_.after(air_.advertisingInterval, [this, report = ++report_] {
    if (report == report_) air_.report(*this);
  });
}

// By the program, under the name that its object has.
void Device::beSeen() {
  NSString* const name = [object_ name];
  toldName_ = name != nil ? [name UTF8String] : "";
  witness([this](lab::Witness& witness) { witness.didHear(*this); });
}

void Device::retrieved() {
  isKnown_ = true;
  beSeen();
}

void Device::want() {
  witness([this](lab::Witness& witness) { witness.didAskToConnect(*this); });
  isAskedFor_ = true;
  air_.call([this, asking = Retained(object_)] {
    if ([asking.get() device] == nullptr) return;
    ++air_.connectionAttempts;
    isWanted_ = true;
    if (faults.linkTime == lab::Microseconds(0)) return tryToConnect();
    air_.after(faults.linkTime, [this] { tryToConnect(); });
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
    return failToLink();
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

void Device::failToLink() {
  const Retained<NSError*> error(forgotten());
  tell([this, error](CBPeripheral* peripheral) {
    CBCentralManager* const manager = Air::shared().manager;
    isAskedFor_ = false;
    witness([this](lab::Witness& witness) { witness.didFailToConnect(*this); });
    [manager.delegate centralManager:manager
          didFailToConnectPeripheral:peripheral
                               error:error.get()];
  });
}

void Device::tellLink() {
  tell([this, tree = tree_](CBPeripheral* peripheral) {
    CBCentralManager* const manager = Air::shared().manager;
    [peripheral becomeLinked:CBPeripheralStateConnected name:nativeText(model_.name())];
    if (!std::exchange(isToldLinked_, true)) {
      isAskedFor_ = false;
      toldTree_ = tree;
      witness([this](lab::Witness& witness) { witness.didLinkUp(*this); });
    }
    [manager.delegate centralManager:manager didConnectPeripheral:peripheral];
  });
}

void Device::setHeld(bool isHeld) {
  if (isHeld_ == isHeld || !isPresent_ || air_.state() != CBManagerStatePoweredOn) return;
  isHeld_ = isHeld;
  if (!isHeld_ && !isOurs_) return loseLink(false);
  if (!isHeld_ || std::exchange(isLinked_, true)) return;
  ++link_;
  model_.connected(*this);
  wake();
  [object_ becomeLinked:CBPeripheralStateConnected name:[object_ name]];
}

void Device::radioDidGoOff() {
  isHeld_ = false;
  forgetRequests();
}

// The object that was there stays with whoever holds it, good for nothing.
void Device::forgetRequests() {
  isWanted_ = isAskedFor_ = false;
  if (!isHeld_) loseLink(false);
  isOurs_ = isStuck_ = false;
  requests_.clear();
  [object_ becomeInvalid];
  object_ = nil;
  didLoseLink();
}

void Device::didLoseLink() {
  if (!std::exchange(isToldLinked_, false)) return;
  witness([this](lab::Witness& witness) { witness.didLinkDown(*this); });
}

// What is asked of the services that were is void. A discovery of services is of those that are.
void Device::modifyServices() {
  air_.call([this] {
    if (!isOurs_) return;
    ++tree_;
    subscribed_.clear();
    for (const Request& request : std::exchange(requests_, {})) {
      if (request.dismiss) {
        request.dismiss();
      } else {
        requests_.push_back(request);
      }
    }
    if (!requests_.empty()) startNext();
    tell([this, tree = tree_](CBPeripheral* peripheral) {
      toldTree_ = tree;
      witness([this](lab::Witness& witness) { witness.didInvalidateServices(*this); });
      NSArray* const lost = [peripheral loseServices];
      if ([peripheral.delegate respondsToSelector:@selector(peripheral:didModifyServices:)]) {
        [peripheral.delegate peripheral:peripheral didModifyServices:lost];
      }
    });
  });
}

void Device::whenAsked(std::size_t times, std::function<void()> action) {
  untilAsked_ = times;
  onceAsked_ = std::move(action);
}

void Device::loseLink(bool isReported) {
  if (!std::exchange(isLinked_, false)) return;
  ++link_;
  subscribed_.clear();
  isOurs_ = isHeld_ = isStuck_ = false;
  for (const Request& request : std::exchange(requests_, {})) {
    if (faults.failsWaitingRequests) request.fail(disconnected());
  }
  model_.disconnected();
  wake();
  tell([this, isReported](CBPeripheral* peripheral) {
    CBCentralManager* const manager = Air::shared().manager;
    didLoseLink();
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
  air_.call([this, tree = toldTree_, request = std::move(request)] {
    if (!isOurs_) return;
    if (tree != tree_ && request.dismiss) return request.dismiss();
    requests_.push_back(request);
    if (requests_.size() == 1) startNext();
  });
}

void Device::startNext() {
  air_.post([this, link = link_, start = ++start_] {
    if (link != link_ || start != start_ || requests_.empty()) return;
    if (isStuck_ || faults.isSilent) return;
    const Request current = requests_.front();
    carryOut(current);
    if (link != link_ || isStuck_) return;
    requests_.pop_front();
    wake();
    if (!requests_.empty()) startNext();
  });
}

// A device that owes an answer gives none to what is asked after that either.
void Device::carryOut(const Request& request) {
  using Fate = lab::Witness::Fate;
  if (untilAsked_ > 0 && --untilAsked_ == 0) air_.post(std::exchange(onceAsked_, {}));
  Fate fate = Fate::serve;
  if (air_.witness != nullptr && request.refuse) {
    fate = air_.witness->fateOf(*this, request.verb, request.uuid);
  }
  if (fate == Fate::serve) return request.carryOut();
  if (fate == Fate::refuse) return request.refuse();
  if (fate == Fate::drop) return loseLink(true);
  isStuck_ = true;
  air_.after(kPatience, [this, link = link_] {
    if (link == link_) loseLink(true);
  });
}

void Device::discoverServices(NSArray* identifiers) {
  const auto answer = [this](NSError* error) {
    const Retained<NSError*> held(error);
    tell([this, held](CBPeripheral* peripheral) {
      if (held.get() != nil) {
        witness([this](lab::Witness& witness) { witness.didFailToDiscover(*this); });
      }
      [peripheral.delegate peripheral:peripheral didDiscoverServices:held.get()];
    });
  };
  const Retained<NSArray*> wanted(identifiers);
  request({.verb = "discover",
           .uuid = {},
           .carryOut =
               [this, wanted, answer] {
                 if (std::exchange(faults.dropsAtDiscovery, false)) return loseLink(true);
                 if (faults.discoveryError) return answer(attError(*faults.discoveryError));
                 tellServices(wanted.get());
                 answer(nil);
               },
           .refuse = [answer] { answer(attError(kInsufficientAuthentication)); },
           .fail = answer});
}

void Device::tellServices(NSArray* identifiers) {
  const Retained<NSArray*> wanted(identifiers);
  tell([this, wanted](CBPeripheral* peripheral) {
    [peripheral foundNothing];
    for (NSUInteger i = 0; i < model_.services().size(); ++i) {
      const std::string& identifier = model_.services()[i].uuid;
      if (!isWanted(wanted.get(), identifier)) continue;
      [peripheral foundService:i named:@(identifier.c_str())];
    }
  });
}

void Device::discoverCharacteristics(NSArray* identifiers, CBService* service) {
  const Retained<CBService*> in(service);
  const Retained<NSArray*> wanted(identifiers);
  const auto answer = [this, in](NSError* error) {
    const Retained<NSError*> held(error);
    tell([this, in, held](CBPeripheral* peripheral) {
      witness([this](lab::Witness& witness) { witness.didShowCharacteristics(*this); });
      [peripheral.delegate peripheral:peripheral
          didDiscoverCharacteristicsForService:in.get()
                                         error:held.get()];
    });
  };
  request({.verb = "discover",
           .uuid = {},
           .carryOut =
               [this, in, wanted, answer] {
                 tellCharacteristics(wanted.get(), in.get());
                 answer(nil);
               },
           .refuse = nullptr,
           .fail = answer,
           .dismiss = [] {}});
}

void Device::tellCharacteristics(NSArray* identifiers, CBService* service) {
  const Retained<CBService*> in(service);
  const Retained<NSArray*> wanted(identifiers);
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
  const std::string uuid = uuidOf(characteristic->index);
  const auto refuse = [this, held, uuid](int code) {
    tellValue(held.get(), nil, attError(code),
              [this, uuid](lab::Witness& witness) { witness.didRead(*this, uuid, nullptr); });
  };
  const auto carryOut = [this, held, uuid, refuse] {
    lab::ReadResult result = lab::AttError::readNotPermitted;
    if (declared(held.get()->index).read) result = model_.read(held.get()->index);
    const auto* const value = std::get_if<lab::Bytes>(&result);
    if (value == nullptr) return refuse(static_cast<int>(std::get<lab::AttError>(result)));
    tellValue(held.get(), nativeData(*value), nil,
              [this, uuid, copy = *value](lab::Witness& witness) {
                witness.didRead(*this, uuid, &copy);
              });
  };
  request({.verb = "read",
           .uuid = uuid,
           .carryOut = carryOut,
           .refuse = [refuse] { refuse(kInsufficientAuthentication); },
           .fail = [this, held](NSError* error) { tellValue(held.get(), nil, error, nullptr); },
           .dismiss = [] {}});
}

void Device::write(NSData* value, CBCharacteristic* characteristic) {
  const auto* const bytes = static_cast<const std::uint8_t*>([value bytes]);
  const lab::CharacteristicIndex index = characteristic->index;
  const std::string uuid = uuidOf(index);
  const lab::Bytes copy(bytes, bytes + [value length]);
  const auto arrive = [this, uuid, copy] {
    witness([&](lab::Witness& witness) { witness.didWrite(*this, uuid, copy); });
  };
  request({.verb = "write",
           .uuid = uuid,
           .carryOut =
               [this, index, copy, arrive] {
                 arrive();
                 if (declared(index).write) model_.write(index, copy);
               },
           .refuse = arrive,
           .fail = [](NSError*) {},
           .dismiss =
               [this, uuid, copy] {
                 witness([&](lab::Witness& witness) { witness.didLoseWrite(*this, uuid, copy); });
               }});
}

void Device::setNotify(bool enabled, CBCharacteristic* characteristic) {
  const Retained<CBCharacteristic*> held(characteristic);
  const std::string uuid = uuidOf(characteristic->index);
  const auto answer = [this, held, uuid, enabled](int code) {
    tellNotificationState(held.get(), attError(code), [=, this](lab::Witness& witness) {
      if (enabled) witness.didAnswerSubscription(*this, uuid, code == 0);
      if (!enabled && code == 0) witness.didEndSubscription(*this, uuid);
    });
  };
  const auto carryOut = [this, held, enabled, answer] {
    const lab::CharacteristicIndex index = held.get()->index;
    constexpr int kRequestNotSupported = 0x06;
    if (!declared(index).notify && !declared(index).indicate) return answer(kRequestNotSupported);
    if (enabled) subscribed_.insert(index);
    const lab::AttError error = model_.subscribe(index, enabled);
    if (error != lab::AttError::none || !enabled) subscribed_.erase(index);
    advance();  // a value that the model sends now comes first
    answer(static_cast<int>(error));
  };
  request(
      {.verb = enabled ? "subscribe" : "unsubscribe",
       .uuid = uuid,
       .carryOut = carryOut,
       .refuse = [answer] { answer(kInsufficientAuthentication); },
       .fail = [this, held](NSError* error) { tellNotificationState(held.get(), error, nullptr); },
       .dismiss = [] {}});
}

bool Device::notify(lab::CharacteristicIndex index, std::span<const std::uint8_t> value) {
  if (!subscribed_.contains(index)) return true;
  const auto sent = value.first(std::min(value.size(), largestNotification()));
  const auto seen = [this, uuid = uuidOf(index), copy = lab::Bytes(sent.begin(), sent.end())](
                        lab::Witness& witness) { witness.didSendValue(*this, uuid, copy); };
  for (CBService* service in [object_ services]) {
    for (CBCharacteristic* each in [service characteristics]) {
      if (each->index == index) tellValue(each, nativeData(sent), nil, seen);
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
void Device::tellValue(CBCharacteristic* characteristic, NSData* value, NSError* error, Seen seen) {
  const Retained<CBCharacteristic*> of(characteristic);
  const Retained<NSData*> data(value);
  const Retained<NSError*> held(error);
  tell([this, of, data, held, seen = std::move(seen)](CBPeripheral* peripheral) {
    if (held.get() == nil) [of.get() become:data.get()];
    witness(seen);
    [peripheral.delegate peripheral:peripheral
        didUpdateValueForCharacteristic:of.get()
                                  error:held.get()];
  });
}

void Device::tellNotificationState(CBCharacteristic* characteristic, NSError* error, Seen seen) {
  const Retained<CBCharacteristic*> of(characteristic);
  const Retained<NSError*> held(error);
  tell([this, of, held, seen = std::move(seen)](CBPeripheral* peripheral) {
    witness(seen);
    [peripheral.delegate peripheral:peripheral
        didUpdateNotificationStateForCharacteristic:of.get()
                                              error:held.get()];
  });
}

}  // namespace standin
