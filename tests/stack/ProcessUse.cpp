#include "ProcessUse.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
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

std::size_t memoryIn(std::ifstream status, const std::string& name) {
  std::string word;
  while (status >> word && word != name) continue;
  std::size_t kibibytes = 0;
  status >> kibibytes;
  require(status);
  return kibibytes << 10U;
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
  return memoryIn(open(process, "status"), "VmHWM:");
}

std::size_t residentMemory(pid_t process) {
  return memoryIn(open(process, "status"), "VmRSS:");
}

std::size_t openDescriptors(pid_t process) {
  const std::filesystem::directory_iterator all("/proc/" + std::to_string(process) + "/fd");
  return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

}  // namespace stack
