// The two ends of the process, intercepted: a program that links this library has its own
// preconditionFailure() and endProcess(), which throw.
#pragma once

namespace subject {

struct ProcessEnded {
  bool hardStop;  // else with status 0
};

}  // namespace subject
