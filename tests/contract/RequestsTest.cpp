// Requests to one peripheral: their order, and their end when the link is lost.
#include <thread>

#include "contract/ContractTest.h"

namespace contract {

class Requests : public ContractTest {
 protected:
  void SetUp() override { find(); }

  void write(const Bytes& value) {
    peripheral->writeValue(value, at(kWritable), platform::CBCharacteristicWriteType::withResponse);
  }
};

TEST_F(Requests, OfAllKindsAreCarriedOutInOrder) {
  write({1});
  peripheral->readValue(at(kReadable));
  peripheral->setNotifyValue(true, at(kStream));
  write({2});
  peripheral->setNotifyValue(false, at(kStream));
  peripheral->readValue(at(kLast));
  write({3});
  ASSERT_TRUE(waitUntilDone({Act::write, kWritable, {3}}));
  const std::vector<Done> expected{
      {Act::write, kWritable, {1}}, {Act::read, kReadable, {}},      {Act::subscribe, kStream, {}},
      {Act::write, kWritable, {2}}, {Act::unsubscribe, kStream, {}}, {Act::read, kLast, {}},
      {Act::write, kWritable, {3}},
  };
  EXPECT_EQ(done(), expected);
}

TEST_F(Requests, OfTwoThreadsKeepTheOrderInWhichTheyWereMade) {
  for (std::uint8_t i = 0; i < 10; ++i) {
    std::thread([this, i, &writable = at(kWritable)] {
      peripheral->writeValue(Bytes{i}, writable, platform::CBCharacteristicWriteType::withResponse);
    }).join();
    peripheral->readValue(at(kReadable));
  }
  ASSERT_TRUE(waitFor(What::value, 10));
  std::vector<Done> expected;
  for (std::uint8_t i = 0; i < 10; ++i) {
    expected.push_back({Act::write, kWritable, {i}});
    expected.push_back({Act::read, kReadable, {}});
  }
  EXPECT_EQ(done(), expected);
}

TEST_F(Requests, AreAnsweredInOrder) {
  recorder.forget();
  peripheral->readValue(at(kReadable));
  peripheral->setNotifyValue(true, at(kStream));
  peripheral->discoverServices(serviceIdentifiers());
  peripheral->readValue(at(kLast));
  ASSERT_TRUE(waitFor(What::value, 2));
  std::vector<What> answers;
  for (const Recorder::Event& event : recorder.events()) answers.push_back(event.what);
  const std::vector<What> expected{What::value, What::notificationState, What::services,
                                   What::value};
  EXPECT_EQ(answers, expected);
}

TEST_F(Requests, ThatWaitWhenTheLinkIsLostGiveNoCallback) {
  order([](ContractDevice& model) { model.dropAtNextRead(); });
  recorder.forget();
  for (int i = 0; i < 20; ++i) peripheral->readValue(at(kReadable));
  peripheral->setNotifyValue(true, at(kStream));
  waitForLinkDown();
  EXPECT_LE(recorder.events().size(), 1U);  // the first answer may have come before the loss
  for (const Recorder::Event& event : recorder.events()) EXPECT_FALSE(event.error);
}

TEST_F(Requests, ThatWaitWhenTheLinkIsLostAreNotCarriedOutOnTheNext) {
  order([](ContractDevice& model) { model.dropAtNextRead(); });
  for (int i = 0; i < 5; ++i) peripheral->readValue(at(kReadable));
  write({1});
  waitForLinkDown();
  connect();
  settle();
  const std::vector<Done> expected{{Act::read, kReadable, {}}};
  EXPECT_EQ(done(), expected);
}

TEST_F(Requests, MadeWhileTheLinkIsDownGiveNoCallback) {
  dropLink();
  recorder.forget();
  peripheral->readValue(at(kReadable));
  peripheral->setNotifyValue(true, at(kStream));
  peripheral->setNotifyValue(false, at(kStream));
  settle();
  EXPECT_TRUE(recorder.events().empty());
}

TEST_F(Requests, OnALaterLinkAreCarriedOut) {
  dropLink();
  recorder.forget();
  find();
  order([](ContractDevice& model) { model.setValue(kReadable, {3}); });
  peripheral->readValue(at(kReadable));
  ASSERT_TRUE(waitFor(What::value));
  EXPECT_EQ(recorder.last(What::value).value, (Bytes{3}));
}

}  // namespace contract
