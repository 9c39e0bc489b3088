// Handler of the one Fenwix, a pod with two RMS streams, two raw-signal streams, a battery, five
// identification numbers and a command channel.
//
// Callbacks and reply reassembly on the main thread. peripheral, characRaw, characRaw2 and the
// write operations may be used by any thread: the reader of host commands does.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "DeviceHandler.h"
#include "platform/Platform.h"

class ComFenwix final : public DeviceHandler {
 public:
  static const Family family;

  explicit ComFenwix(std::shared_ptr<platform::CBPeripheral> device);

  void peripheralDidUpdateValueFor(platform::CBPeripheral& device,
                                   platform::CBCharacteristic& characteristic,
                                   const platform::Error* error) override;
  void peripheralDidUpdateNotificationStateFor(platform::CBPeripheral& device,
                                               platform::CBCharacteristic& characteristic,
                                               const platform::Error* error) override;

  // Command frame: code, length of the argument (16 bits, little-endian), argument
  // (little-endian). The command characteristic has to have been discovered.
  void writeFenwixCommand(std::uint8_t cde);
  void writeFenwixCommandInt(std::uint8_t cde, std::uint32_t valeur);
  void writeFenwixCommandByte(std::uint8_t cde, std::uint8_t valeur);

  // Reply frame, over one notification or many: 0xAA, code, length of the payload (16 bits,
  // little-endian), payload. Called with every notification of the command characteristic. There is
  // no resynchronisation: bytes count as payload until the announced length is in.
  void notifRecueFenwixCommand(platform::Value data);

  // Called after each event of the identification: its five values, and the answers to the
  // subscription of the command characteristic. Sends the identification whenever nbLus is six, as
  // it is after the five values and one confirmation.
  void verifConnection();

  KeptCharacteristic characRaw{nullptr};
  KeptCharacteristic characRaw2{nullptr};
  KeptCharacteristic characCommand{nullptr};

  std::optional<std::int64_t> nivBatt;
  std::optional<std::int64_t> healthBatt;

  // Each keeps the first value that was received for it.
  std::optional<std::uint32_t> serial;
  std::optional<std::uint32_t> modele;
  std::optional<std::uint32_t> firmWare;
  std::optional<std::uint32_t> hardWare;
  std::optional<std::uint32_t> systId;
  std::int64_t nbLus = 0;  // identification values and confirmations so far

  std::int64_t nbBytesARecevoir = 0;  // payload length of the reply in progress; 0 when none
  std::int64_t nbBytesRecus = 0;
  std::vector<std::uint8_t> buffer;
  std::uint8_t commandeEnCours = 0;  // code of the last reply header

 private:
  void countEvent();
  bool storeIdentification(std::optional<std::uint32_t>& field, platform::Value value);
  void storeSerial(platform::Value value);
  void sendBattery() const;
  void traiteCommande();
  void writeFrame(platform::Value frame);
};
