// The fixture of the tests of the BlueZ platform: the test plays bluetoothd (ScriptedBluez) on a
// simulated message bus.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/Platform.h"
#include "platform/bluez/BluezPlatform.h"
#include "support/AgendaClock.h"
#include "support/ScriptedBluez.h"

namespace bluez_tests {

using lab::Bytes;
using lab::Interfaces;
using lab::Properties;
using support::OwnedMessage;
using support::ScriptedBluez;

inline constexpr char kAdapter[] = "/org/bluez/hci0";
inline constexpr char kDevice[] = "/org/bluez/hci0/dev_00_11_22_33_44_55";
inline constexpr char kAdapterInterface[] = "org.bluez.Adapter1";
inline constexpr char kDeviceInterface[] = "org.bluez.Device1";
inline constexpr char kServiceInterface[] = "org.bluez.GattService1";
inline constexpr char kCharacteristicInterface[] = "org.bluez.GattCharacteristic1";
inline constexpr char kBatteryInterface[] = "org.bluez.Battery1";

inline constexpr platform::CBUUID kService = platform::CBUUID::UUIDWithString("FE01");
inline constexpr platform::CBUUID kStream = platform::CBUUID::UUIDWithString("FE02");
inline constexpr platform::CBUUID kOther = platform::CBUUID::UUIDWithString("FE03");
inline constexpr platform::CBUUID kBatteryService = platform::CBUUID::UUIDWithString("180F");
inline constexpr platform::CBUUID kBatteryLevel = platform::CBUUID::UUIDWithString("2A19");

// A 16-bit identifier as BlueZ writes it: 36 characters.
std::string longForm(const platform::CBUUID& uuid);

class BluezTest : public ::testing::Test,
                  public platform::CBCentralManagerDelegate,
                  public platform::CBPeripheralDelegate {
 protected:
  struct ValueEvent {
    const platform::CBCharacteristic* characteristic;
    std::optional<Bytes> value;
    std::optional<platform::Error> error;
  };

  BluezTest();
  ~BluezTest() override;

  // Replaces the platform by a new one, whose connection the bus has not accepted.
  void startPlatform();

  // Serves both sides until the condition holds; false when it does not within 20 s.
  bool waitUntil(const std::function<bool()>& condition);
  // Serves both sides until everything sent so far has had its effect.
  void settle();

  // settle(), and then leap().
  void pass(lab::Microseconds time);
  // Advances the time at once; timers ring when the platform is served next.
  void leap(lab::Microseconds time);

  // Sends the platform a signal from a program that is not bluetoothd. types, contents: as for
  // sd_bus_message_append.
  template <typename... Contents>
  void signalFromAnother(const char* path, const char* interface, const char* member,
                         const char* types, Contents... contents) {
    OwnedMessage signal = bus.newSignal(path, interface, member);
    ASSERT_NE(signal, nullptr);
    ASSERT_GE(sd_bus_message_append(signal.get(), types, contents...), 0);
    bus.sendFrom(":1.9", std::move(signal));
  }

  static Interfaces adapter(bool isPowered, const std::string& address = "00:00:00:00:00:00");
  static Interfaces device(const std::string& name, bool isConnected = false);
  static Interfaces service(const platform::CBUUID& uuid, bool isPrimary = true);
  static Interfaces characteristic(const platform::CBUUID& uuid);

  void start();
  void startPoweredOn();
  void discover();
  void connect();
  // The device has a service FE01 at handle 0x000a with the characteristics FE02 at 0x000b and FE03
  // at 0x000d.
  void connectAndDiscover();
  void dropLink();

  platform::CBCharacteristic& at(const platform::CBUUID& uuid);

  void centralManagerDidUpdateState(platform::CBCentralManager& central) override;
  void centralManagerDidDiscover(platform::CBCentralManager& central,
                                 const std::shared_ptr<platform::CBPeripheral>& found) override;
  void centralManagerDidConnect(platform::CBCentralManager& central,
                                const std::shared_ptr<platform::CBPeripheral>& connected) override;
  void peripheralDidDiscoverServices(platform::CBPeripheral& from,
                                     const platform::Error* error) override;
  void peripheralDidDiscoverCharacteristicsFor(platform::CBPeripheral& from,
                                               platform::CBService& service,
                                               const platform::Error* error) override;
  void peripheralDidUpdateValueFor(platform::CBPeripheral& from, platform::CBCharacteristic& which,
                                   const platform::Error* error) override;
  void peripheralDidUpdateNotificationStateFor(platform::CBPeripheral& from,
                                               platform::CBCharacteristic& which,
                                               const platform::Error* error) override;

  // The callbacks that a peripheral made, in order, one word each.
  std::vector<std::string> told;
  std::vector<platform::CBManagerState> states;
  std::vector<std::shared_ptr<platform::CBPeripheral>> reports;
  std::size_t connections = 0;
  std::vector<std::optional<platform::Error>> serviceAnswers;
  std::vector<std::optional<platform::Error>> confirmations;
  std::vector<ValueEvent> valueEvents;
  std::vector<Bytes> values() const;

  lab::Agenda agenda;  // only for its time: it stays empty
  lab::MessageBus bus;
  std::unique_ptr<ScriptedBluez> bluez = std::make_unique<ScriptedBluez>(bus);
  std::unique_ptr<platform::bluez::BluezPlatform> platform;
  std::unique_ptr<platform::CBCentralManager> manager;
  std::shared_ptr<platform::CBPeripheral> peripheral;
};

}  // namespace bluez_tests
