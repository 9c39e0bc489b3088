// Replaces the two ends of the process: in a program that links this library, preconditionFailure()
// and endProcess() throw.
#pragma once

namespace subject {

struct ProcessEnded {
  bool hardStop;  // else with status 0
};

}  // namespace subject
