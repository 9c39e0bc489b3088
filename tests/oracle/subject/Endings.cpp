#include "tests/oracle/subject/Endings.h"

#include "EndProcess.h"
#include "Precondition.h"

void preconditionFailure() {
  throw subject::ProcessEnded{true};
}

void endProcess() {
  throw subject::ProcessEnded{false};
}
