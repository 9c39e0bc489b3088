// What cases of a parametrised test have in common: a name, which tells the instance.
#pragma once

#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "platform/CBUUID.h"

namespace unit {

struct Case {
  std::string name;
};

inline void PrintTo(const Case& one, std::ostream* out) {
  *out << one.name;
}

inline constexpr auto caseName = [](const auto& instance) -> std::string {
  return instance.param.name;
};

// The same where the case is an identifier.
inline constexpr auto identifierName = [](const auto& instance) -> std::string {
  std::string name = instance.param.description();
  std::erase(name, '-');
  return name;
};

}  // namespace unit

namespace platform {

inline void PrintTo(const CBUUID& identifier, std::ostream* out) {
  *out << identifier.description();
}

}  // namespace platform
