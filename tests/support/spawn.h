// Starts a program with pipes in place of its standard streams.
#pragma once

#include <sys/types.h>

#include <string>

#include "support/Descriptor.h"

namespace support {

struct ProcessOptions;

// The caller's ends, closed on exec and not blocking; an end that the options do not ask for is
// closed.
struct Child {
  pid_t id = -1;
  Descriptor input;   // to be written; with Input::pipe
  Descriptor output;  // to be read
  Descriptor error;   // to be read
  Descriptor life;    // never has bytes; ends when the process does
};

// Throws std::system_error. A program that cannot be executed ends with status 127 and says so on
// its standard error.
Child spawn(const std::string& program, const ProcessOptions& options);

}  // namespace support
