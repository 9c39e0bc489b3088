// How often this program has called operator new so far.
#pragma once

#include <cstddef>

namespace support {

std::size_t allocationCount();

}  // namespace support
