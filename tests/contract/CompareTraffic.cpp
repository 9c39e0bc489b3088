// Compares the traffic with the model of bluetoothd with the recorded traffic of the real one. What
// the dice decide may make no difference: none of it is seen in the real one's order.
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "contract/TrafficTest.h"

namespace contract {

INSTANTIATE_TEST_SUITE_P(Dice, TrafficTest, testing::Range(1U, 11U));

void didPlay(const std::string& scene, const std::string& traffic) {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): one thread
  const std::string version = std::getenv("VORNIX_BLUETOOTHD");
  std::ifstream file(std::string(VORNIX_TRAFFIC) + "/" + version + "/" + scene + ".txt");
  const std::string recorded{std::istreambuf_iterator<char>(file), {}};
  EXPECT_EQ(traffic, recorded);
}

}  // namespace contract
