// Callbacks are made only while the output holds nothing back.
#include <unistd.h>

#include <array>
#include <optional>

#include "contract/ContractTest.h"
#include "support/NonBlockingPipe.h"
#include "support/PipeOutput.h"

namespace contract {

// A pipe takes the place of the bridge's standard output. As in the bridge, the callbacks fill it:
// each writes one line, without ever blocking.
class Gate : public ContractTest {
 protected:
  void SetUp() override {
    ASSERT_TRUE(support::openNonBlockingPipe(ends));
    output.emplace(ends[1]);
    platform().deliverInto(*output);
    recorder.onCallback = [this] {
      const std::array<char, 1000> line{};
      if (::write(ends[1], line.data(), line.size()) < 0) ++blocked;
    };
  }

  ~Gate() override {
    for (const int end : ends) {
      if (end >= 0) ::close(end);
    }
  }

  void readAll() {
    std::array<char, 65536> block{};
    while (::read(ends[0], block.data(), block.size()) > 0) {
    }
  }
  bool readUntil(What what, std::size_t times) {
    return waitUntil([&] {
      readAll();
      return recorder.count(what) >= times;
    });
  }

  // Lets the device stream while nobody reads the pipe, until nothing more is delivered.
  void stall() {
    readAll();
    order([](ContractDevice& model) { model.send(kStream, numberedValues(500)); });
    runFor(3);  // long enough for the device to send all of them
    ASSERT_LT(recorder.count(What::value), 100U);
  }

  std::array<int, 2> ends{};
  std::optional<support::PipeOutput> output;
  std::size_t blocked = 0;  // callbacks whose line did not fit
};

TEST_F(Gate, ThatStaysOpenHoldsNothingBack) {
  find();
  subscribe(kStream);
  readAll();
  order([](ContractDevice& model) { model.send(kStream, numberedValues(30)); });
  EXPECT_TRUE(waitFor(What::value, 30));
}

TEST_F(Gate, HoldsValuesBackAndDeliversAllInOrderAfterwards) {
  find();
  subscribe(kStream);
  readAll();
  const std::vector<Bytes> values = numberedValues(3000);
  order([&](ContractDevice& model) { model.send(kStream, values); });
  runFor(8);  // long enough for the device to send all of them
  EXPECT_LT(recorder.count(What::value), 100U);
  readUntil(What::value, values.size());
  settle();
  EXPECT_TRUE(areEqual(recorder.values(at(kStream)), values));
  EXPECT_EQ(blocked, 0U);
}

TEST_F(Gate, HoldsTheFirstStateBack) {
  const std::array<char, 4096> block{};
  while (::write(ends[1], block.data(), block.size()) > 0) {
  }
  manager = platform().makeCentralManager(recorder);
  settle();
  EXPECT_EQ(recorder.count(What::state), 0U);
  EXPECT_EQ(manager->state(), CBManagerState::unknown);
  EXPECT_TRUE(readUntil(What::state, 1));
}

TEST_F(Gate, HoldsAnswersBackAsWell) {
  find();
  subscribe(kStream);
  stall();
  const std::size_t before = recorder.events().size();
  peripheral->readValue(at(kReadable));
  peripheral->setNotifyValue(true, at(kOtherStream));
  settle();
  EXPECT_EQ(recorder.events().size(), before);
  EXPECT_TRUE(readUntil(What::notificationState, 2));
  EXPECT_EQ(recorder.count(What::value), 501U);
  EXPECT_EQ(blocked, 0U);
}

TEST_F(Gate, HoldsDiscoveriesBackAsWell) {
  find();
  subscribe(kStream);
  stall();
  const std::size_t before = recorder.events().size();
  manager->scanForPeripherals();
  settle();
  EXPECT_EQ(recorder.events().size(), before);
  EXPECT_TRUE(waitUntil([&] {
    readAll();
    return timesDiscovered(kName) == 2;
  }));
  EXPECT_TRUE(readUntil(What::value, 500));
}

TEST_F(Gate, WhoseReaderIsGoneIsOpen) {
  find();
  subscribe(kStream);
  stall();
  recorder.onCallback = nullptr;
  ::close(ends[0]);
  ends[0] = -1;
  EXPECT_TRUE(waitFor(What::value, 500));
}

}  // namespace contract
