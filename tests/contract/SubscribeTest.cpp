// Subscriptions and the values that they bring.
#include <thread>

#include "contract/ContractTest.h"

namespace contract {

class Subscribe : public ContractTest {
 protected:
  void SetUp() override { find(); }

  void sendAndExpect(lab::CharacteristicIndex which, const std::vector<Bytes>& values) {
    const std::size_t before = recorder.count(What::value);
    order([&](ContractDevice& model) { model.send(which, values); });
    waitFor(What::value, before + values.size());
    settle();
    EXPECT_TRUE(areEqual(recorder.values(at(which)), values));
  }
};

TEST_F(Subscribe, IsConfirmed) {
  subscribe(kStream);
  EXPECT_EQ(recorder.last(What::notificationState).characteristic, &at(kStream));
  bool isSubscribed = false;
  order([&](ContractDevice& model) { isSubscribed = model.isSubscribed(kStream); });
  EXPECT_TRUE(isSubscribed);
  settle();
  EXPECT_EQ(recorder.count(What::notificationState), 1U);
}

TEST_F(Subscribe, DeliversEachValueInOrder) {
  subscribe(kStream);
  sendAndExpect(kStream, numberedValues(50));
}

TEST_F(Subscribe, LosesNoneOfThousands) {
  subscribe(kStream);
  sendAndExpect(kStream, numberedValues(3000));
}

TEST_F(Subscribe, DeliversEqualValues) {
  subscribe(kStream);
  sendAndExpect(kStream, std::vector<Bytes>(20, Bytes{1, 2, 3}));
}

TEST_F(Subscribe, DeliversValuesOfNoBytes) {
  subscribe(kStream);
  sendAndExpect(kStream, {{1}, {}, {}, {2}, {}});
}

TEST_F(Subscribe, DeliversIndicationsWhereThereAreNoNotifications) {
  subscribe(kIndicated);
  sendAndExpect(kIndicated, numberedValues(5));
}

TEST_F(Subscribe, KeepsTwoStreamsApart) {
  subscribe(kStream);
  subscribe(kOtherStream);
  const std::vector<Bytes> values = numberedValues(200);
  order([&](ContractDevice& model) {
    for (const Bytes& value : values) {
      model.send(kStream, {value});
      model.send(kOtherStream, {value});
    }
  });
  waitFor(What::value, 400);
  settle();
  EXPECT_TRUE(areEqual(recorder.values(at(kStream)), values));
  EXPECT_TRUE(areEqual(recorder.values(at(kOtherStream)), values));
}

TEST_F(Subscribe, IsConfirmedBeforeItsFirstValue) {
  order([](ContractDevice& model) { model.greetSubscribers({42}); });
  recorder.forget();
  peripheral->setNotifyValue(true, at(kStream));
  ASSERT_TRUE(waitFor(What::value));
  EXPECT_EQ(recorder.events().front().what, What::notificationState);
  EXPECT_EQ(recorder.values(at(kStream)), std::vector<Bytes>{{42}});
}

TEST_F(Subscribe, LeavesNoValueAfterTheCallback) {
  subscribe(kStream);
  sendAndExpect(kStream, {{1}});
  EXPECT_FALSE(at(kStream).value());
}

TEST_F(Subscribe, ThatIsRefusedGivesAnError) {
  peripheral->setNotifyValue(true, at(kRefused));
  ASSERT_TRUE(waitFor(What::notificationState));
  EXPECT_TRUE(recorder.last(What::notificationState).error);
  EXPECT_FALSE(recorder.last(What::notificationState).error->localizedDescription().empty());
  EXPECT_EQ(recorder.last(What::notificationState).characteristic, &at(kRefused));
}

TEST_F(Subscribe, ThatIsRefusedDoesNotHoldUpWhatFollows) {
  peripheral->setNotifyValue(true, at(kRefused));
  peripheral->setNotifyValue(true, at(kStream));
  peripheral->readValue(at(kReadable));
  ASSERT_TRUE(waitFor(What::value));
  // Only the last one counts: some versions of BlueZ do not report the refusal, so that it comes
  // only when the time for an answer is over.
  ASSERT_GE(recorder.count(What::notificationState), 1U);
  EXPECT_FALSE(recorder.last(What::notificationState).error);
  EXPECT_EQ(recorder.last(What::notificationState).characteristic, &at(kStream));
}

TEST_F(Subscribe, MayComeFromAnotherThread) {
  CBCharacteristic& stream = at(kStream);
  std::thread([&] { peripheral->setNotifyValue(true, stream); }).join();
  ASSERT_TRUE(waitFor(What::notificationState));
  sendAndExpect(kStream, numberedValues(3));
}

TEST_F(Subscribe, EndsWithTheLink) {
  subscribe(kStream);
  dropLink();
  recorder.forget();
  connect();
  order([](ContractDevice& model) { model.send(kStream, {{1}}); });
  settle();
  EXPECT_EQ(recorder.count(What::value), 0U);
}

TEST_F(Subscribe, WorksAgainOnALaterLink) {
  subscribe(kStream);
  dropLink();
  recorder.forget();
  find();
  subscribe(kStream);
  sendAndExpect(kStream, numberedValues(5));
}

TEST_F(Subscribe, EndedByTheBridgeIsConfirmed) {
  subscribe(kStream);
  peripheral->setNotifyValue(false, at(kStream));
  ASSERT_TRUE(waitFor(What::notificationState, 2));
  EXPECT_FALSE(recorder.last(What::notificationState).error);
  EXPECT_TRUE(waitUntilDone({Act::unsubscribe, kStream, {}}));
}

TEST_F(Subscribe, EndedByTheBridgeDeliversNothingMore) {
  subscribe(kStream);
  order([](ContractDevice& model) { model.send(kStream, numberedValues(500)); });
  ASSERT_TRUE(waitFor(What::value, 1));
  peripheral->setNotifyValue(false, at(kStream));
  ASSERT_TRUE(waitFor(What::notificationState, 2));
  settle();
  EXPECT_EQ(recorder.events().back().what, What::notificationState);
}

TEST_F(Subscribe, EndedAndMadeAgainDelivers) {
  subscribe(kStream);
  peripheral->setNotifyValue(false, at(kStream));
  ASSERT_TRUE(waitFor(What::notificationState, 2));
  subscribe(kStream);
  sendAndExpect(kStream, numberedValues(10));
}

TEST_F(Subscribe, DeliversNothingToAPeripheralWithoutDelegate) {
  subscribe(kStream);
  peripheral->setDelegate(nullptr);
  order([](ContractDevice& model) { model.send(kStream, {{1}}); });
  settle();
  EXPECT_EQ(recorder.count(What::value), 0U);
}

}  // namespace contract
