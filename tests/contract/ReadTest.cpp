// Reading.
#include "contract/ContractTest.h"

namespace contract {

class Read : public ContractTest {
 protected:
  void SetUp() override { find(); }

  // Reads, and expects the value in callback number place from now on.
  void expectRead(const Bytes& value, std::size_t place = 1) {
    order([&](ContractDevice& model) { model.setValue(kReadable, value); });
    const std::size_t before = recorder.count(What::value);
    peripheral->readValue(at(kReadable));
    ASSERT_TRUE(waitFor(What::value, before + place));
    const Recorder::Event& event = recorder.last(What::value);
    EXPECT_EQ(event.source, peripheral.get());
    EXPECT_EQ(event.characteristic, &at(kReadable));
    EXPECT_FALSE(event.error);
    EXPECT_EQ(event.value, value);
  }
};

TEST_F(Read, GivesTheValue) {
  expectRead({0x5C, 0x00, 0xFF});
}

TEST_F(Read, GivesAValueOfNoBytes) {
  expectRead({});
}

TEST_F(Read, GivesTheLongestValue) {
  Bytes value;
  for (int i = 0; i < 512; ++i) value.push_back(static_cast<std::uint8_t>(i * 7));
  expectRead(value);
}

TEST_F(Read, GivesAnUnchangedValueAgain) {
  expectRead({1, 2});
  expectRead({1, 2});
}

TEST_F(Read, GivesExactlyOneCallback) {
  expectRead({1});
  settle();
  EXPECT_EQ(recorder.count(What::value), 1U);
}

TEST_F(Read, LeavesNoValueAfterTheCallback) {
  expectRead({1});
  EXPECT_FALSE(at(kReadable).value());
}

TEST_F(Read, GivesOneCallbackPerReadInOrder) {
  for (int i = 0; i < 10; ++i) {
    peripheral->readValue(at(kReadable));
    peripheral->readValue(at(kLast));
  }
  ASSERT_TRUE(waitFor(What::value, 20));
  settle();
  std::vector<const CBCharacteristic*> answered;
  for (const Recorder::Event& event : recorder.events()) {
    if (event.what == What::value) answered.push_back(event.characteristic);
  }
  std::vector<const CBCharacteristic*> expected;
  for (int i = 0; i < 10; ++i) expected.insert(expected.end(), {&at(kReadable), &at(kLast)});
  EXPECT_EQ(answered, expected);
}

TEST_F(Read, ThatIsRefusedGivesAnErrorAndNoValue) {
  peripheral->readValue(at(kUnreadable));
  ASSERT_TRUE(waitFor(What::value));
  settle();
  ASSERT_EQ(recorder.count(What::value), 1U);
  EXPECT_TRUE(recorder.last(What::value).error);
  EXPECT_FALSE(recorder.last(What::value).value);
}

TEST_F(Read, AfterARefusedOneIsCarriedOut) {
  peripheral->readValue(at(kUnreadable));
  expectRead({7}, 2);
}

TEST_F(Read, OfACharacteristicThatAlsoStreamsGivesItsOneCallback) {
  order([](ContractDevice& model) { model.setValue(kStream, {9}); });
  subscribe(kStream);
  peripheral->readValue(at(kStream));
  ASSERT_TRUE(waitFor(What::value));
  settle();
  EXPECT_EQ(recorder.values(at(kStream)), std::vector<Bytes>{{9}});
}

TEST_F(Read, IsNotDeliveredToAPeripheralWithoutDelegate) {
  peripheral->setDelegate(nullptr);
  peripheral->readValue(at(kReadable));
  ASSERT_TRUE(waitUntilDone({Act::read, kReadable, {}}));
  settle();
  EXPECT_EQ(recorder.count(What::value), 0U);
}

TEST_F(Read, IsDeliveredToTheLatestDelegate) {
  Recorder other;
  other.setServing(true);
  peripheral->setDelegate(&other);
  peripheral->readValue(at(kReadable));
  ASSERT_TRUE(waitUntil([&] { return other.count(What::value) == 1; }));
  EXPECT_EQ(recorder.count(What::value), 0U);
  peripheral->setDelegate(nullptr);
}

}  // namespace contract
