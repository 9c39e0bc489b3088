// A temporary file without a name, which is gone when it is closed.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

namespace unit {

// The descriptor of a new one, close-on-exec and above the standard ones; -1 on failure.
inline int openNamelessFile() {
  std::FILE* const file = std::tmpfile();
  if (file == nullptr) return -1;
  const int descriptor = fcntl(fileno(file), F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  std::fclose(file);
  return descriptor;
}

}  // namespace unit
