// The process that watches: it records, and tells the pages. It has nothing that the session needs.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "scope/Descriptor.h"

namespace scope {

struct WatchOptions {
  std::vector<std::string> command;  // of the bridge, to be told
  std::string record;                // the recording's file; empty: none
  std::uint64_t rotateAt = 0;        // bytes; 0: never
  int port = 0;                      // of the page; 0: one that is free
  bool isReadOnly = false;           // the page sends no commands
  std::string addressFile;           // where the page's address is written; empty: nowhere
};

struct WatchEnds {
  Descriptor tap;       // what passes: the reading end
  Descriptor commands;  // lines from the page: the writing end
  Descriptor done;      // closed when the recording is complete
};

// Tells the page's address on standard error, and there too when the recording or the page cannot
// be had: the session goes on without. Ends this process some time after the tap's end, when the
// pages know.
[[noreturn]] void runWatch(const WatchOptions& options, WatchEnds ends);

}  // namespace scope
