// What a running process uses, as the system counts it.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>

namespace stack {

// Processor time of all its threads so far. Throws std::runtime_error when it does not run.
std::chrono::milliseconds processorTime(pid_t process);

// The most memory that it has had resident at any time, in bytes. Throws likewise.
std::size_t largestMemory(pid_t process);

}  // namespace stack
