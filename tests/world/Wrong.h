// What the judge says when the bridge did something that it must not, or left out what it must.
#pragma once

#include <stdexcept>

namespace world {

struct Wrong : std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace world
