#include "tests/oracle/Identifiers.h"

#include <algorithm>
#include <span>

#include "tests/oracle/Families.h"

namespace oracle {

namespace {

// The fuzzers' corpora refer to places in these lists, so their order has to stay. Identifiers of a
// new family are appended.
constexpr std::string_view kServices[] = {serviceIlo,
                                          serviceTenoval,
                                          serviceTramsel,
                                          serviceBatt,
                                          serviceParametres,
                                          serviceCalibration,
                                          serviceFenwix,
                                          serviceConfig,
                                          serviceContractions,
                                          serviceInfo,
                                          "00001801-0000-1000-8000-00805f9b34fb",
                                          "00000000-0000-0000-0000-000000000000"};

constexpr std::string_view kCharacteristics[] = {characIlo,
                                                 characTenoval,
                                                 characTramsel,
                                                 characBatt,
                                                 characBattHealth,
                                                 characFirmwareText,
                                                 characSecteur,
                                                 characForceSleep,
                                                 characContractions,
                                                 characAcquisition,
                                                 characCalibration,
                                                 characErreur,
                                                 characNewCalibration,
                                                 characRms,
                                                 characRms2,
                                                 characRaw,
                                                 characRaw2,
                                                 characCommand,
                                                 characModele,
                                                 characFirmware,
                                                 characHardware,
                                                 characSerial,
                                                 characSystid,
                                                 "00002a26-0000-1000-8000-00805f9b34fb",
                                                 "00000000-0000-0000-0000-000000000000"};

std::vector<std::string_view> withFamilies(std::span<const std::string_view> list,
                                           std::string_view Part::*uuid) {
  std::vector<std::string_view> all(list.begin(), list.end());
  for (const Family* family : kFamilies) {
    for (const Part& part : family->parts) {
      if (std::ranges::find(all, part.*uuid) == all.end()) all.push_back(part.*uuid);
    }
  }
  return all;
}

}  // namespace

const std::vector<std::string_view>& everyService() {
  static const auto all = withFamilies(kServices, &Part::service);
  return all;
}

const std::vector<std::string_view>& everyCharacteristic() {
  static const auto all = withFamilies(kCharacteristics, &Part::uuid);
  return all;
}

std::string printed(std::string_view uuid) {
  std::string upper;
  for (const char c : uuid) upper += c >= 'a' && c <= 'f' ? static_cast<char>(c - 'a' + 'A') : c;
  const bool isShort =
      upper.substr(0, 4) == "0000" && upper.substr(8) == "-0000-1000-8000-00805F9B34FB";
  return isShort ? upper.substr(4, 4) : upper;
}

}  // namespace oracle
