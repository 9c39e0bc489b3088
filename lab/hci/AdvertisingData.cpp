#include "lab/hci/AdvertisingData.h"

#include <algorithm>

namespace lab {
namespace {

constexpr std::size_t kRoom = 31;
constexpr std::uint8_t kFlags = 0x01;
constexpr std::uint8_t kShortenedName = 0x08;
constexpr std::uint8_t kCompleteName = 0x09;
constexpr std::uint8_t kGeneralDiscoverableNoClassic = 0x06;

void appendName(Bytes& data, const std::string& name) {
  if (name.empty()) return;
  std::size_t size = std::min(name.size(), kRoom - data.size() - 2);
  // Does not cut a UTF-8 sequence in two.
  while (size < name.size() && (static_cast<std::uint8_t>(name[size]) & 0xC0) == 0x80) --size;
  data.push_back(static_cast<std::uint8_t>(size + 1));
  data.push_back(size == name.size() ? kCompleteName : kShortenedName);
  data.insert(data.end(), name.begin(), name.begin() + static_cast<std::ptrdiff_t>(size));
}

}  // namespace

Advertisement makeAdvertisement(const std::string& name, NamePlace place, bool isConnectable) {
  Advertisement advertisement;
  advertisement.isConnectable = isConnectable;
  advertisement.data = {2, kFlags, kGeneralDiscoverableNoClassic};
  appendName(place == NamePlace::advertisement ? advertisement.data : advertisement.scanResponse,
             name);
  return advertisement;
}

}  // namespace lab
