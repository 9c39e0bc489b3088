// What all fuzzers share. A finding is a difference between core and oracle, or a broken promise. A
// required hard stop is none; it only ends the play.
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
