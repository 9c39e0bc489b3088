// The resources that a running process has used, as the system counts them.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>

namespace stack {

// The processor time of all its threads so far. Throws std::runtime_error when it does not run.
std::chrono::milliseconds processorTime(pid_t process);

// Its peak resident memory in bytes. Throws likewise.
std::size_t largestMemory(pid_t process);
// Its resident memory in bytes, now. Throws likewise.
std::size_t residentMemory(pid_t process);

// How many descriptors it has open. Throws likewise.
std::size_t openDescriptors(pid_t process);

}  // namespace stack
