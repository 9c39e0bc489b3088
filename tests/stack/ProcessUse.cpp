#include "ProcessUse.h"

#include <unistd.h>

#include <fstream>
#include <limits>
#include <stdexcept>
#include <string>

namespace stack {
namespace {

std::ifstream open(pid_t process, const char* name) {
  return std::ifstream("/proc/" + std::to_string(process) + "/" + name);
}

void require(const std::ifstream& file) {
  if (!file) throw std::runtime_error("the process is gone");
}

}  // namespace

std::chrono::milliseconds processorTime(pid_t process) {
  std::ifstream file = open(process, "stat");
  // After the name: the state, ten numbers, then the times in user and in kernel mode.
  file.ignore(std::numeric_limits<std::streamsize>::max(), ')');
  std::string passedOver;
  for (int field = 0; field < 11; ++field) file >> passedOver;
  long user = 0;
  long kernel = 0;
  file >> user >> kernel;
  require(file);
  return std::chrono::milliseconds((user + kernel) * 1000 / ::sysconf(_SC_CLK_TCK));
}

std::size_t largestMemory(pid_t process) {
  std::ifstream file = open(process, "status");
  std::string word;
  while (file >> word && word != "VmHWM:") continue;
  std::size_t kibibytes = 0;
  file >> kibibytes;
  require(file);
  return kibibytes << 10U;
}

}  // namespace stack
