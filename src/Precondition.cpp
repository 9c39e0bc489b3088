#include "Precondition.h"

#include <cstdlib>

void preconditionFailure() {
  std::abort();
}
