// The memory that a value takes, and the most that a host that stalls may cost.
#include <unistd.h>

#include <array>
#include <cstddef>

#include "support/AllocationCount.h"
#include "support/NonBlockingPipe.h"
#include "support/PipeOutput.h"
#include "tests/lab/simulated/SimulatedTest.h"

namespace simulated_test {

using Memory = SimulatedTest;

TEST_F(Memory, ASteadyStreamAllocatesNothing) {
  subscribeFirst();
  std::size_t delivered = 0;
  bridge.onValue = [&](CBCharacteristic&) { ++delivered; };
  run();
  const std::array<std::uint8_t, 20> value{};
  struct Stream {
    platform::simulated::Platform& air;
    Device& device;
    DeviceCharacteristic& characteristic;
    Value value;

    void send() {
      device.notify(characteristic, value);
      air.after(1ms, [this] { send(); });
    }
  } stream{air, device, first, value};
  stream.send();
  run(1s);
  const std::size_t deliveredBefore = delivered;
  const std::size_t before = support::allocationCount();
  run(10s);
  EXPECT_EQ(support::allocationCount(), before);
  EXPECT_EQ(delivered - deliveredBefore, 10000U);
}

TEST_F(Memory, IsBoundedWhileTheReaderStallsAndTheDeviceIsRefusedMore) {
  subscribeFirst();
  std::size_t delivered = 0;
  bridge.onValue = [&](CBCharacteristic& characteristic) {
    delivered += characteristic.value()->size();
  };
  run();
  std::array<int, 2> ends{};
  ASSERT_TRUE(support::openNonBlockingPipe(ends));
  std::array<char, 4096> block{};
  while (::write(ends[1], block.data(), block.size()) > 0) {
  }
  support::PipeOutput throughPipe(ends[1]);
  air.deliverInto(throughPipe);

  const Bytes value(512, 1);
  std::size_t taken = 0;
  while (device.notify(first, value)) taken += value.size();
  EXPECT_GT(taken, std::size_t{32} << 20);
  EXPECT_LE(taken, std::size_t{64} << 20);
  run(1s);
  EXPECT_EQ(delivered, 0U);

  ::close(ends[0]);
  run(1s);
  EXPECT_EQ(delivered, taken);
  EXPECT_TRUE(device.notify(first, value));
  ::close(ends[1]);
}

}  // namespace simulated_test
