// How often this program has called operator new so far.
#pragma once

#include <cstddef>

namespace bluez_tests {

std::size_t allocationCount();

}  // namespace bluez_tests
