// Starts a program with pipes in place of its standard streams.
#pragma once

#include <sys/types.h>

#include <string>

#include "support/Descriptor.h"

namespace support {

struct ProcessOptions;

// The caller's ends of the pipes, close-on-exec and non-blocking; without Input::pipe, input is
// closed.
struct Child {
  pid_t id = -1;
  Descriptor input;   // for writing
  Descriptor output;  // for reading
  Descriptor error;   // for reading
  Descriptor life;    // carries no bytes; reaches its end when the process ends
};

// Throws std::system_error. If the program cannot be executed, the child says so on its standard
// error and ends with status 127.
Child spawn(const std::string& program, const ProcessOptions& options);

}  // namespace support
