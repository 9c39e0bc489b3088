// For a condition on which the program relies and which does not hold: a value shorter than its
// layout, a handler that is missing, text that is not UTF-8. The process ends by SIGABRT and writes
// nothing about it. Nothing checks ahead and nothing recovers, since a measurement that the host
// cannot trust is worse than none.
#pragma once

[[noreturn]] void preconditionFailure();

inline void require(bool condition) {
  if (!condition) preconditionFailure();
}
