#include "LabDevice.h"

#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace stack {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

support::Descriptor watch(const fs::path& file) {
  std::ofstream(file).flush();
  support::Descriptor changes(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
  if (::inotify_add_watch(changes.number(), file.c_str(), IN_MODIFY) < 0) {
    throw std::system_error(errno, std::generic_category(), file);
  }
  return changes;
}

std::vector<std::string> command(const std::string& controller, const std::string& device,
                                 const fs::path& journal, const std::vector<std::string>& options) {
  std::vector<std::string> words{VORNIX_LAB, "--controller", controller, "--device",
                                 device,     "--journal",    journal};
  words.insert(words.end(), options.begin(), options.end());
  return words;
}

}  // namespace

LabDevice::LabDevice(const fs::path& folder, const std::string& controller,
                     const std::string& device, const std::vector<std::string>& options)
    : journalPath_(folder / (controller + ".journal")),
      changes_(watch(journalPath_)),
      program_(command(controller, device, journalPath_, options), folder / (controller + ".log")) {
  if (!waitFor("address ")) throw std::runtime_error(controller + ": no " + device);
}

std::string LabDevice::address() {
  readJournal();
  static constexpr std::string_view entry = "address ";
  return std::ranges::find_if(journal_, [](const auto& line) { return line.starts_with(entry); })
      ->substr(entry.size());
}

bool LabDevice::waitFor(std::string_view entry, std::size_t wanted, Limit limit) {
  const Clock::time_point deadline = Clock::now() + limit;
  while (count(entry) < wanted) {
    const auto left = std::chrono::ceil<Limit>(deadline - Clock::now()).count();
    pollfd changed{changes_.number(), POLLIN, 0};
    if (left <= 0 || ::poll(&changed, 1, static_cast<int>(left)) == 0) return false;
    std::array<char, 4096> events;
    while (::read(changes_.number(), events.data(), events.size()) > 0) continue;
  }
  return true;
}

std::size_t LabDevice::count(std::string_view entry) {
  readJournal();
  return static_cast<std::size_t>(std::ranges::count_if(
      journal_, [entry](const std::string& line) { return line.starts_with(entry); }));
}

const std::vector<std::string>& LabDevice::journal() {
  readJournal();
  return journal_;
}

std::vector<std::string> LabDevice::entries(std::string_view entry) {
  readJournal();
  std::vector<std::string> found;
  std::ranges::copy_if(journal_, std::back_inserter(found),
                       [entry](const std::string& line) { return line.starts_with(entry); });
  return found;
}

std::vector<std::string> LabDevice::sent(std::string_view uuid) {
  readJournal();
  const std::string prefix = "sent " + std::string(uuid) + " ";
  std::vector<std::string> values;
  for (const std::string& line : journal_) {
    if (line.starts_with(prefix)) values.push_back(line.substr(prefix.size()));
  }
  return values;
}

// Reads the new complete lines.
void LabDevice::readJournal() {
  std::ifstream file(journalPath_);
  file.seekg(read_);
  for (std::string line; std::getline(file, line) && !file.eof();) {
    read_ += static_cast<std::streamoff>(line.size() + 1);
    journal_.push_back(line);
  }
}

}  // namespace stack
