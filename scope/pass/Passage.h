// The bridge's place: the bridge is a child of this process, and what passes between it and the
// host passes through here, byte for byte.
//
// This is all that the host depends on. It keeps nothing, decodes nothing, and waits for nobody but
// the host and the bridge: who watches gets a copy (Tap.h), in a process of its own, and may crash,
// hang or fall behind without being noticed here.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "scope/Descriptor.h"
#include "scope/Piece.h"

namespace scope {

struct PassageSetup {
  // The bridge. Where there is a `run`, it is called in the child instead, on the child's standard
  // input and output, and its result is the way in which the child ends.
  std::vector<std::string> command;
  std::function<Ending()> run;

  Descriptor tap;       // pieces for who watches: the writing end
  Descriptor commands;  // lines that are sent from the page: the reading end
  Descriptor done;      // reads its end when the recording is complete
};

// Starts the bridge, passes on until it ends, and ends this process in the same way. A bridge that
// cannot be started gives the status 127 and a line on standard error, as in a shell.
//
//  - Signals that are sent to this process are sent on; those of a terminal reach the bridge by
//    themselves. When this process is killed, so is the bridge.
//  - A host that closes one of its ends closes it for the bridge as well.
//  - A line from the page goes to the bridge between two lines of the host, never into one.
[[noreturn]] void runPassage(PassageSetup setup);

}  // namespace scope
