// What has to hold for the description of every device family.
#include "Family.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "ComBLE.h"
#include "Text.h"
#include "tests/unit/core/support/RecordingPlatform.h"

namespace unit {
namespace {

template <class Handler>
const ::Family* describedBy(const HandlerSlot<Handler>&) {
  return &Handler::family;
}

std::vector<const ::Family*> descriptions() {
  Journal journal;
  RecordingPlatform platform(journal);
  ComBLE comBLE(platform);
  return std::apply([](auto&... slot) { return std::vector{describedBy(slot)...}; },
                    comBLE.slots());
}

TEST(Families, HaveNamesInLowerCase) {
  for (const ::Family* family : descriptions()) {
    EXPECT_FALSE(family->names.empty());
    for (const std::string_view name : family->names) EXPECT_EQ(lowerCase(name), name);
  }
}

// Otherwise the family of a device would depend on the order in which the families are tried.
TEST(Families, HaveNoPrefixThatBeginsWithAnotherFamilys) {
  for (const ::Family* family : descriptions()) {
    for (const ::Family* other : descriptions()) {
      if (other == family) continue;
      for (const std::string_view name : other->names) EXPECT_FALSE(isNamed(*family, name)) << name;
    }
  }
}

TEST(Families, NameEachCharacteristicOnce) {
  for (const ::Family* family : descriptions()) {
    std::set<std::string> seen;
    for (const KnownCharacteristic& known : family->characteristics) {
      EXPECT_TRUE(seen.insert(known.uuid.description()).second) << known.uuid.description();
    }
  }
}

TEST(Families, HaveAPlaceForEachCharacteristicThatIsOnlyKept) {
  for (const ::Family* family : descriptions()) {
    for (const KnownCharacteristic& known : family->characteristics) {
      EXPECT_TRUE(known.use != Use::keep || known.keptIn != nullptr) << known.uuid.description();
    }
  }
}

TEST(Services, AreAskedForOnceInTheOrderOfTheirFirstMention) {
  constexpr auto first = platform::CBUUID::UUIDWithString("0001");
  constexpr auto second = platform::CBUUID::UUIDWithString("0002");
  const KnownCharacteristic known[] = {{second, first, Use::read},
                                       {first, first, Use::read},
                                       {second, second, Use::read},
                                       {first, second, Use::read}};
  EXPECT_EQ(servicesOf(known), (std::vector{second, first}));
}

}  // namespace
}  // namespace unit
