// Records the traffic with the real bluetoothd, in the virtual machine: a file for each scene.
#include <cstdlib>
#include <fstream>

#include "contract/TrafficTest.h"

namespace contract {

INSTANTIATE_TEST_SUITE_P(Real, TrafficTest, testing::Values(1U));

void didPlay(const std::string& scene, const std::string& traffic) {
  const std::string folder = std::getenv("VORNIX_SHARE");  // NOLINT(concurrency-mt-unsafe)
  std::ofstream file(folder + "/" + scene + ".txt");
  file << traffic;
  EXPECT_TRUE(file.flush());
}

}  // namespace contract
