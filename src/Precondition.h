// A condition that the program relies on does not hold: a value shorter than its layout, a handler
// that is not there, text that is not UTF-8. The process ends at once by SIGABRT with nothing more
// written; nothing checks ahead and nothing recovers, since a measurement that the host cannot
// trust is worse than none.
#pragma once

[[noreturn]] void preconditionFailure();

inline void require(bool condition) {
  if (!condition) preconditionFailure();
}
