// What every fuzzer has in common: a difference between the core and the oracle, or a broken
// promise, is a finding. A required hard stop is none: the play ends there.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>

#include "tests/oracle/subject/Plays.h"

namespace fuzz {

[[noreturn]] inline void found(const char* what) {
  std::fprintf(stderr, "%s\n", what);
  std::abort();
}

inline void expect(bool promise, const char* what) {
  if (!promise) found(what);
}

inline int play(void (*one)(subject::Choices&), const std::uint8_t* bytes, std::size_t size) {
  subject::Choices choices(std::span(bytes, size));
  try {
    one(choices);
  } catch (const subject::Difference& difference) {
    found(difference.what());
  }
  return 0;
}

}  // namespace fuzz
