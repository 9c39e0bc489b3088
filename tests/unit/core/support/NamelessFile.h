// An open file that has no name, and is gone when it is closed.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

namespace unit {

// Its descriptor, closed on exec and none of the standard ones; -1 where there is none.
inline int openNamelessFile() {
  std::FILE* const file = std::tmpfile();
  if (file == nullptr) return -1;
  const int descriptor = fcntl(fileno(file), F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  std::fclose(file);
  return descriptor;
}

}  // namespace unit
