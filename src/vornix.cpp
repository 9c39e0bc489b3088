#include "main.h"
#include "platform/Platform.h"

int main() {
  const auto platform = platform::makePlatform();
  return runVornix(*platform);
}
