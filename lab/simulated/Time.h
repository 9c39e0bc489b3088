// Time on the simulation's own scale.
#pragma once

#include <chrono>

namespace platform::simulated {

using Time =
    std::chrono::microseconds;  // since the simulation's start, or between two moments of it

inline constexpr Time kNever = Time::max();

}  // namespace platform::simulated
