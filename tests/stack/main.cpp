#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  // These tests take over Bluetooth controllers and the system bus.
  if (std::getenv("VORNIX_SHARE") == nullptr) {
    std::cerr << "runs only in the virtual machine: see tests/stack/vm --help\n";
    return 2;
  }
  return RUN_ALL_TESTS();
}
