// The GATT identifiers as text, 36 characters in lower case.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace oracle {

inline constexpr std::string_view serviceIlo = "85538af7-9604-4f46-a933-c9e7a9e05748";
inline constexpr std::string_view characIlo = "23bcdd50-00ac-446d-92b9-07ab6e436ad8";
inline constexpr std::string_view serviceTenoval = "0000aa40-0000-1000-8000-00805f9b34fb";
inline constexpr std::string_view characTenoval = "0000aa41-0000-1000-8000-00805f9b34fb";
inline constexpr std::string_view serviceTramsel = "ef680400-9b35-4933-9b10-52ffa9740042";
inline constexpr std::string_view characTramsel = "ef680408-9b35-4933-9b10-52ffa9740042";
inline constexpr std::string_view serviceBatt = "0000180f-0000-1000-8000-00805f9b34fb";
inline constexpr std::string_view characBatt = "00002a19-0000-1000-8000-00805f9b34fb";
inline constexpr std::string_view characBattHealth = "00002beb-0000-1000-8000-00805f9b34fb";
inline constexpr std::string_view serviceParametres = "89e6b9fd-f08f-4b6c-93e6-49a24ba04200";
inline constexpr std::string_view characFirmwareText = "36410ec0-a40f-49af-aa74-27b875ba8751";
inline constexpr std::string_view characSecteur = "d35386e6-0b1e-453b-963e-9e1f2b527fe7";
inline constexpr std::string_view characForceSleep = "00428317-9ae7-49d7-adf5-8e295880ace8";
inline constexpr std::string_view serviceContractions = "d72dcc05-7e84-464d-91a6-b8cc7fe47b2a";
inline constexpr std::string_view characContractions = "5d63afc1-16d0-4c47-bdb8-39de23daf30a";
inline constexpr std::string_view characAcquisition = "5b4153a2-3f1c-4dc4-872e-e43265446878";
inline constexpr std::string_view serviceCalibration = "a4459812-7361-4607-95e1-e58b2fc953d9";
inline constexpr std::string_view characCalibration = "0860ac22-b172-468e-9755-03a53f3c7e40";
inline constexpr std::string_view characErreur = "60583850-163a-4c00-a0dc-2dfdd223a716";
inline constexpr std::string_view characNewCalibration = "fe5eb478-cc3b-4ef0-b33c-b674b32e0c41";
inline constexpr std::string_view serviceFenwix = "000098ab-0000-1000-8000-00805f9b34fb";
inline constexpr std::string_view characRms = "00003a89-0000-1000-8000-00805f9b34fb";
inline constexpr std::string_view characRms2 = "00003a90-0000-1000-8000-00805f9b34fb";
inline constexpr std::string_view characRaw = "00003a87-0000-1000-8000-00805f9b34fb";
inline constexpr std::string_view characRaw2 = "00003a88-0000-1000-8000-00805f9b34fb";
inline constexpr std::string_view serviceConfig = "000098ac-0000-1000-8000-00805f9b34fb";
inline constexpr std::string_view characCommand = "00003a93-0000-1000-8000-00805f9b34fb";
inline constexpr std::string_view serviceInfo = "0000180a-0000-1000-8000-00805f9b34fb";
inline constexpr std::string_view characModele = "00002a24-0000-1000-8000-00805f9b34fb";
inline constexpr std::string_view characFirmware = "00002a28-0000-1000-8000-00805f9b34fb";
inline constexpr std::string_view characHardware = "00002a27-0000-1000-8000-00805f9b34fb";
inline constexpr std::string_view characSerial = "00002a25-0000-1000-8000-00805f9b34fb";
inline constexpr std::string_view characSystid = "00002a23-0000-1000-8000-00805f9b34fb";

// All known identifiers, and two unknown ones: one that differs little from a known one, and one of
// zeros.
const std::vector<std::string_view>& everyService();
const std::vector<std::string_view>& everyCharacteristic();

// As log lines have it: upper case, and four digits alone if built on the Bluetooth base UUID.
std::string printed(std::string_view uuid);

}  // namespace oracle
