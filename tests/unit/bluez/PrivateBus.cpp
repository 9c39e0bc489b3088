#include "PrivateBus.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

extern char** environ;

namespace bluez_tests {

namespace {

constexpr char kConfiguration[] = R"(<!DOCTYPE busconfig PUBLIC
 "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>custom</type>
  <listen>unix:path=FOLDER/bus</listen>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*" eavesdrop="false"/>
    <allow receive_sender="*"/>
  </policy>
</busconfig>
)";

std::string makeFolder() {
  std::string pattern = (std::filesystem::temp_directory_path() / "vornix-bus-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no folder");
  return pattern;
}

// The daemon prints its address once it listens.
void waitForAddress(int output) {
  std::array<char, 256> text{};
  pollfd entry{output, POLLIN, 0};
  if (poll(&entry, 1, 20'000) != 1 || read(output, text.data(), text.size()) <= 0) {
    throw std::runtime_error("dbus-daemon does not start");
  }
}

}  // namespace

PrivateBus::PrivateBus() : folder_(makeFolder()) {
  std::string configuration = kConfiguration;
  const std::string mark = "FOLDER";
  configuration.replace(configuration.find(mark), mark.size(), folder_);
  std::ofstream(folder_ + "/bus.conf") << configuration;

  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  // It complains on standard error about limits that it may not raise.
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  std::string option = "--config-file=" + folder_ + "/bus.conf";
  std::array<std::string, 4> words{"dbus-daemon", option, "--nofork", "--print-address"};
  std::array<char*, 5> arguments{words[0].data(), words[1].data(), words[2].data(), words[3].data(),
                                 nullptr};
  const int failure =
      posix_spawnp(&process_, "dbus-daemon", &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  if (failure == 0) waitForAddress(ends[0]);
  close(ends[0]);
  if (failure != 0) throw std::runtime_error("no dbus-daemon");
  setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + folder_ + "/bus").c_str(), 1);
}

PrivateBus::~PrivateBus() {
  kill();
  std::filesystem::remove_all(folder_);
}

void PrivateBus::stop() {
  ::kill(process_, SIGSTOP);
}

void PrivateBus::kill() {
  if (process_ <= 0) return;
  ::kill(process_, SIGKILL);
  waitpid(process_, nullptr, 0);
  process_ = -1;
}

}  // namespace bluez_tests
