// Names of the instances of parametrised tests, taken from the case's field name.
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

// The same for a case that is a GATT identifier.
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
