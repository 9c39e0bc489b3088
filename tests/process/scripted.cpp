// The bridge on the simulated platform, with the radio and devices that its command line describes
// (Script.h).
#include <exception>
#include <iostream>

#include "Script.h"
#include "main.h"

int main(int count, char** words) {
  try {
    const auto air = process_test::makeAir({words + 1, static_cast<std::size_t>(count - 1)});
    return runVornix(*air);
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 2;
  }
}
