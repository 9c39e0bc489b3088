#include "lab/hci/AdvertisingData.h"

#include <gtest/gtest.h>

#include "lab/Text.h"

namespace lab {
namespace {

TEST(AdvertisingData, CarriesFlagsAndName) {
  const Advertisement made = makeAdvertisement("ILO-1", NamePlace::advertisement, true);
  EXPECT_EQ(toHex(made.data), "0201060609494C4F2D31");
  EXPECT_TRUE(made.scanResponse.empty());
  EXPECT_TRUE(made.isConnectable);
}

TEST(AdvertisingData, CarriesTheNameInTheScanResponse) {
  const Advertisement made = makeAdvertisement("ILO-1", NamePlace::scanResponse, false);
  EXPECT_EQ(toHex(made.data), "020106");
  EXPECT_EQ(toHex(made.scanResponse), "0609494C4F2D31");
  EXPECT_FALSE(made.isConnectable);
}

TEST(AdvertisingData, LeavesOutAnEmptyName) {
  const Advertisement made = makeAdvertisement("", NamePlace::advertisement, true);
  EXPECT_EQ(toHex(made.data), "020106");
}

TEST(AdvertisingData, ShortensALongName) {
  const Advertisement made =
      makeAdvertisement(std::string(27, 'x'), NamePlace::advertisement, true);
  EXPECT_EQ(made.data.size(), 31U);
  EXPECT_EQ(made.data[3], 27);    // 26 characters and the type
  EXPECT_EQ(made.data[4], 0x08);  // a shortened name
  const Advertisement fits = makeAdvertisement(std::string(29, 'x'), NamePlace::scanResponse, true);
  EXPECT_EQ(fits.scanResponse.size(), 31U);
  EXPECT_EQ(fits.scanResponse[1], 0x09);
}

TEST(AdvertisingData, NeverShortensWithinACharacter) {
  const std::string name = std::string(25, 'x') + "\xC3\xA9";
  const Advertisement made = makeAdvertisement(name, NamePlace::advertisement, true);
  EXPECT_EQ(made.data.size(), 30U);
  EXPECT_EQ(made.data.back(), 'x');
}

}  // namespace
}  // namespace lab
