// The whole Linux platform with a BlueZ that answers late, wrongly or not at all, signals anything,
// and disappears. Meanwhile the promises of Platform.h are checked.
#include <map>
#include <set>

#include "platform/bluez/BluezPlatform.h"
#include "tests/fuzz/AnyBluez.h"
#include "tests/fuzz/Fuzz.h"
#include "tests/oracle/Identifiers.h"
#include "tests/oracle/Utf8.h"
#include "tests/support/LeapingClock.h"

namespace {

using platform::CBCentralManager;
using platform::CBCharacteristic;
using platform::CBPeripheral;
using platform::CBService;
using platform::CBUUID;
using platform::Error;
using subject::Choices;
using support::LeapingClock;

std::vector<CBUUID> parsed(std::span<const std::string_view> texts) {
  std::vector<CBUUID> identifiers;
  for (const auto text : texts) identifiers.push_back(CBUUID::parse(text).value());
  return identifiers;
}

// Makes requests in every callback.
class Asker final : public platform::CBCentralManagerDelegate,
                    public platform::CBPeripheralDelegate {
 public:
  explicit Asker(Choices& choices) : choices_(choices) {}
  ~Asker() {
    for (const auto& peripheral : peripherals_) peripheral->setDelegate(nullptr);
  }

  bool isInCall = false;  // during a call into the platform, when no callback may come

  void centralManagerDidUpdateState(CBCentralManager& central) override {
    called();
    if (central.state() == platform::CBManagerState::poweredOn) {
      ask([&] { central.scanForPeripherals(); });
    }
  }

  void centralManagerDidDiscover(CBCentralManager& central,
                                 const std::shared_ptr<CBPeripheral>& peripheral) override {
    called();
    peripherals_.insert(peripheral);
    peripheral->setDelegate(this);
    ask([&] { central.connect(peripheral); });
    if (choices_.below(8) == 1) ask([&] { central.stopScan(); });
  }

  void centralManagerDidConnect(CBCentralManager&,
                                const std::shared_ptr<CBPeripheral>& peripheral) override {
    called();
    static const auto everything = parsed(oracle::everyService());
    ask([&] { peripheral->discoverServices(everything); });
  }

  void peripheralDidDiscoverServices(CBPeripheral& peripheral, const Error* error) override {
    called();
    fuzz::expect((peripheral.services() == nullptr) == (error != nullptr), "services or an error");
    if (error != nullptr) return;
    static const auto everything = parsed(oracle::everyCharacteristic());
    for (CBService* service : *peripheral.services()) {
      ask([&] { peripheral.discoverCharacteristics(everything, *service); });
    }
  }

  void peripheralDidDiscoverCharacteristicsFor(CBPeripheral& peripheral, CBService& service,
                                               const Error*) override {
    called();
    if (service.characteristics() == nullptr) return;
    for (CBCharacteristic* found : *service.characteristics()) {
      known_[found] = &peripheral;
      request(peripheral, *found);
    }
  }

  void peripheralDidUpdateValueFor(CBPeripheral&, CBCharacteristic& characteristic,
                                   const Error* error) override {
    called();
    fuzz::expect(characteristic.value().has_value() == (error == nullptr), "a value or an error");
    std::size_t sum = 0;
    for (const std::uint8_t byte : characteristic.value().value_or(platform::Value())) sum += byte;
    lastSum = sum;
  }

  void peripheralDidUpdateNotificationStateFor(CBPeripheral& peripheral,
                                               CBCharacteristic& characteristic,
                                               const Error*) override {
    called();
    if (choices_.below(4) == 1) request(peripheral, characteristic);
  }

  // Makes any request, for any characteristic that was ever discovered.
  void requestSomething() {
    if (known_.empty()) return;
    auto place = known_.begin();
    std::advance(place, static_cast<std::ptrdiff_t>(choices_.below(known_.size())));
    request(*place->second, *place->first);
  }

  // Checks what can be read of the devices.
  void look() {
    for (const auto& peripheral : peripherals_) {
      const auto name = peripheral->name();
      fuzz::expect(!name || oracle::scalars(*name), "a name that is not UTF-8");
    }
  }

  std::size_t lastSum = 0;

 private:
  void called() { fuzz::expect(!isInCall, "a callback from within a call"); }

  template <class Call>
  void ask(const Call& call) {
    isInCall = true;
    call();
    isInCall = false;
  }

  void request(CBPeripheral& peripheral, CBCharacteristic& characteristic) {
    const std::size_t kind = choices_.below(5);
    ask([&] {
      if (kind == 0) peripheral.readValue(characteristic);
      if (kind == 1 || kind == 2) peripheral.setNotifyValue(true, characteristic);
      if (kind == 3) peripheral.setNotifyValue(false, characteristic);
      const std::uint8_t byte = choices_.byte();
      if (kind == 4) {
        peripheral.writeValue({&byte, 1}, characteristic,
                              platform::CBCharacteristicWriteType::withResponse);
      }
    });
  }

  Choices& choices_;
  std::set<std::shared_ptr<CBPeripheral>> peripherals_;
  std::map<CBCharacteristic*, CBPeripheral*> known_;
};

void turn(platform::Platform& platform, fuzz::AnyBluez& bluez) {
  for (int i = 0; i < 8; ++i) {
    platform.runUntil(platform.now());
    if (!bluez.serve()) break;
  }
}

void happen(fuzz::AnyBluez& bluez, LeapingClock& clock, Asker& asker, Choices& choices) {
  const std::size_t which = choices.byte();
  switch (which % 16) {
    case 10:
      return bluez.answerWithError(choices.byte(), choices);
    case 11:
      return bluez.answerWithAnything(choices.byte(), choices);
    case 12:
      return which < 64 ? bluez.signalOwner(choices) : bluez.signalAdded(choices);
    case 13:
      return which < 128 ? bluez.signalRemoved(choices) : asker.requestSomething();
    case 14:
      return which < 64 ? bluez.endSocket(choices) : bluez.notify(choices);
    case 15:
      if (which == 255) return bluez.bus.hangUp();
      return clock.leap(std::chrono::seconds(1 + which / 64));
    case 7:
    case 8:
    case 9:
      return bluez.signalChanged(choices);
    default:
      return bluez.answerRightly(0, choices);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  Choices choices(std::span(bytes, size));
  fuzz::AnyBluez bluez;
  auto ownClock = std::make_unique<LeapingClock>();
  LeapingClock& clock = *ownClock;
  platform::bluez::BluezPlatform platform(std::move(ownClock));
  Asker asker(choices);
  bluez.bus.accept();
  const auto central = platform.makeCentralManager(asker);
  turn(platform, bluez);
  while (!choices.atEnd()) {
    happen(bluez, clock, asker, choices);
    turn(platform, bluez);
    asker.look();
  }
  return 0;
}
