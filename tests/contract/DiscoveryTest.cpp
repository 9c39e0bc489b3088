// Services and characteristics.
#include <algorithm>

#include "contract/ContractTest.h"

namespace contract {

namespace {

std::vector<CBUUID> identifiersOf(const std::vector<CBService*>& services) {
  std::vector<CBUUID> found;
  for (const CBService* service : services) found.push_back(service->UUID());
  return found;
}

std::vector<CBUUID> identifiersOf(const std::vector<CBCharacteristic*>& characteristics) {
  std::vector<CBUUID> found;
  for (const CBCharacteristic* each : characteristics) found.push_back(each->UUID());
  return found;
}

const CBUUID kAbsent = uuid("7A5CFFFF-3B1E-4D27-9C6A-51E2F0A9D384");

}  // namespace

class Services : public ContractTest {
 protected:
  void look(const std::vector<CBUUID>& identifiers) {
    const std::size_t before = recorder.count(What::services);
    peripheral->discoverServices(identifiers);
    ASSERT_TRUE(waitFor(What::services, before + 1));
  }
};

TEST_F(Services, AreNullBeforeTheFirstAnswer) {
  connect();
  EXPECT_EQ(peripheral->services(), nullptr);
  peripheral->discoverServices(serviceIdentifiers());
  EXPECT_EQ(peripheral->services(), nullptr);
  EXPECT_EQ(recorder.count(What::services), 0U);
}

TEST_F(Services, AreFoundInHandleOrderWhateverTheOrderAskedFor) {
  connect();
  std::vector<CBUUID> asked = serviceIdentifiers();
  std::reverse(asked.begin(), asked.end());
  look(asked);
  EXPECT_FALSE(recorder.last(What::services).error);
  ASSERT_NE(peripheral->services(), nullptr);
  EXPECT_EQ(identifiersOf(*peripheral->services()), serviceIdentifiers());
}

TEST_F(Services, AreThoseAskedForAndNoOthers) {
  connect();
  look({uuid(kThirdService), uuid(kFirstService)});
  ASSERT_NE(peripheral->services(), nullptr);
  const std::vector<CBUUID> expected{uuid(kFirstService), uuid(kThirdService)};
  EXPECT_EQ(identifiersOf(*peripheral->services()), expected);
}

TEST_F(Services, ThatAreAbsentAreLeftOut) {
  connect();
  look({kAbsent, uuid(kSecondService)});
  EXPECT_FALSE(recorder.last(What::services).error);
  ASSERT_NE(peripheral->services(), nullptr);
  EXPECT_EQ(identifiersOf(*peripheral->services()), std::vector<CBUUID>{uuid(kSecondService)});
}

TEST_F(Services, AreAnEmptyListWhereTheDeviceHasNoneOfThem) {
  connect();
  look({kAbsent});
  EXPECT_FALSE(recorder.last(What::services).error);
  ASSERT_NE(peripheral->services(), nullptr);
  EXPECT_TRUE(peripheral->services()->empty());
}

TEST_F(Services, OfALaterDiscoveryReplaceThoseOfTheFirst) {
  connect();
  look({uuid(kFirstService)});
  ASSERT_EQ(peripheral->services()->size(), 1U);
  const CBService* first = peripheral->services()->front();
  look({uuid(kSecondService)});
  EXPECT_EQ(identifiersOf(*peripheral->services()), std::vector<CBUUID>{uuid(kSecondService)});
  EXPECT_EQ(first->UUID(), uuid(kFirstService));
}

TEST_F(Services, AskedForWhileTheLinkIsDownGiveAnError) {
  connect();
  look(serviceIdentifiers());
  ASSERT_NE(peripheral->services(), nullptr);
  dropLink();
  look(serviceIdentifiers());
  EXPECT_TRUE(recorder.last(What::services).error);
  EXPECT_EQ(peripheral->services(), nullptr);
}

TEST_F(Services, GiveAnErrorWhenTheLinkIsLostBeforeTheyAreKnown) {
  discover();
  // A link that is lost before the platform could tell of it is followed by another, whose services
  // are found. Then once more.
  for (int attempt = 1;; ++attempt) {
    bench->dropAtServiceDiscovery(device);
    connect();
    look(serviceIdentifiers());
    if (recorder.last(What::services).error || attempt == 10) break;
    dropLink();
  }
  EXPECT_TRUE(recorder.last(What::services).error);
  EXPECT_EQ(peripheral->services(), nullptr);
}

TEST_F(Services, AreFoundAgainOnALaterLink) {
  connect();
  look(serviceIdentifiers());
  dropLink();
  connect();
  look(serviceIdentifiers());
  ASSERT_NE(peripheral->services(), nullptr);
  EXPECT_EQ(identifiersOf(*peripheral->services()), serviceIdentifiers());
}

class Characteristics : public ContractTest {
 protected:
  void SetUp() override {
    connect();
    peripheral->discoverServices(serviceIdentifiers());
    ASSERT_TRUE(waitFor(What::services));
    ASSERT_EQ(peripheral->services()->size(), 3U);
    service = peripheral->services()->front();
  }

  void look(const std::vector<CBUUID>& identifiers) {
    const std::size_t before = recorder.count(What::characteristics);
    peripheral->discoverCharacteristics(identifiers, *service);
    ASSERT_TRUE(waitFor(What::characteristics, before + 1));
    EXPECT_FALSE(recorder.last(What::characteristics).error);
    EXPECT_EQ(recorder.last(What::characteristics).service, service);
    ASSERT_NE(service->characteristics(), nullptr);
  }

  CBService* service = nullptr;
};

TEST_F(Characteristics, AreNullBeforeTheFirstAnswer) {
  EXPECT_EQ(service->characteristics(), nullptr);
  peripheral->discoverCharacteristics(characteristicIdentifiers(), *service);
  EXPECT_EQ(service->characteristics(), nullptr);
  EXPECT_EQ(recorder.count(What::characteristics), 0U);
}

TEST_F(Characteristics, AreThoseOfTheServiceInHandleOrder) {
  std::vector<CBUUID> asked = characteristicIdentifiers();
  std::reverse(asked.begin(), asked.end());
  look(asked);
  const std::vector<CBUUID> all = characteristicIdentifiers();
  const std::vector<CBUUID> expected(all.begin() + kReadable, all.begin() + kUnwritable + 1);
  EXPECT_EQ(identifiersOf(*service->characteristics()), expected);
}

TEST_F(Characteristics, AreThoseAskedForAndNoOthers) {
  look({kAbsent, uuid(identifierOf(kWritable))});
  const std::vector<CBUUID> expected{uuid(identifierOf(kWritable))};
  EXPECT_EQ(identifiersOf(*service->characteristics()), expected);
}

TEST_F(Characteristics, AreAnEmptyListWhereTheServiceHasNoneOfThem) {
  look({uuid(identifierOf(kLast))});
  EXPECT_TRUE(service->characteristics()->empty());
}

TEST_F(Characteristics, OfSeveralServicesComeInTheOrderAskedFor) {
  for (CBService* each : *peripheral->services()) {
    peripheral->discoverCharacteristics(characteristicIdentifiers(), *each);
  }
  ASSERT_TRUE(waitFor(What::characteristics, 3));
  std::vector<CBService*> answered;
  for (const Recorder::Event& event : recorder.events()) {
    if (event.what == What::characteristics) answered.push_back(event.service);
  }
  EXPECT_EQ(answered, *peripheral->services());
}

TEST_F(Characteristics, AskedForWhileTheLinkIsDownGiveNoCallback) {
  dropLink();
  peripheral->discoverCharacteristics(characteristicIdentifiers(), *service);
  settle();
  EXPECT_EQ(recorder.count(What::characteristics), 0U);
}

}  // namespace contract
