#include <cstddef>

#include "Help.h"
#include "main.h"
#include "platform/Platform.h"

int main(int argc, char** argv) {
  if (answersPerson({argv, static_cast<std::size_t>(argc)})) return 0;
  const auto platform = platform::makePlatform();
  return runVornix(*platform);
}
