// Writing.
#include <thread>

#include "contract/ContractTest.h"

namespace contract {

class Write : public ContractTest {
 protected:
  void SetUp() override { find(); }

  void write(lab::CharacteristicIndex which, const Bytes& value) {
    peripheral->writeValue(value, at(which), platform::CBCharacteristicWriteType::withResponse);
  }

  void expectWritten(const Bytes& value) {
    write(kWritable, value);
    EXPECT_TRUE(waitUntilDone({Act::write, kWritable, value}));
  }
};

TEST_F(Write, ReachesTheDeviceByteForByte) {
  expectWritten({0x13, 0x00, 0xFF});
}

TEST_F(Write, OfNoBytesReachesTheDevice) {
  expectWritten({});
}

TEST_F(Write, LongerThanAPacketReachesTheDeviceWhole) {
  Bytes value;
  for (int i = 0; i < 512; ++i) value.push_back(static_cast<std::uint8_t>(i * 3));
  expectWritten(value);
  const std::vector<Done> expected{{Act::write, kWritable, value}};
  EXPECT_EQ(done(), expected);
}

TEST_F(Write, GivesNoCallback) {
  recorder.forget();
  expectWritten({1});
  settle();
  EXPECT_TRUE(recorder.events().empty());
}

TEST_F(Write, ThatIsRefusedGivesNoCallback) {
  recorder.forget();
  write(kUnwritable, {1});
  settle();
  EXPECT_TRUE(recorder.events().empty());
}

TEST_F(Write, AfterARefusedOneIsCarriedOut) {
  write(kUnwritable, {1});
  expectWritten({2});
}

TEST_F(Write, CopiesWhatItIsGiven) {
  Bytes value{1, 2, 3};
  write(kWritable, value);
  value.assign(3, 0xEE);
  EXPECT_TRUE(waitUntilDone({Act::write, kWritable, {1, 2, 3}}));
}

TEST_F(Write, MayComeFromAnotherThread) {
  CBCharacteristic& writable = at(kWritable);
  std::thread([&] {
    for (std::uint8_t i = 0; i < 20; ++i) {
      const Bytes value{i};
      peripheral->writeValue(value, writable, platform::CBCharacteristicWriteType::withResponse);
    }
  }).join();
  ASSERT_TRUE(waitUntil([&] { return done().size() == 20; }));
  std::vector<Done> expected;
  for (std::uint8_t i = 0; i < 20; ++i) expected.push_back({Act::write, kWritable, {i}});
  EXPECT_EQ(done(), expected);
}

TEST_F(Write, FromAnotherThreadIsCarriedOutWhileTheRunLoopTurns) {
  CBCharacteristic& writable = at(kWritable);
  std::thread writer([&] {
    peripheral->writeValue(Bytes{5}, writable, platform::CBCharacteristicWriteType::withResponse);
  });
  EXPECT_TRUE(waitUntilDone({Act::write, kWritable, {5}}));
  writer.join();
}

TEST_F(Write, WhileTheLinkIsDownDoesNothing) {
  dropLink();
  recorder.forget();
  write(kWritable, {1});
  settle();
  connect();
  settle();
  EXPECT_TRUE(done().empty());
}

}  // namespace contract
