#include "tests/unit/core/support/Journal.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <regex>
#include <system_error>

#include "tests/unit/core/support/NamelessFile.h"

namespace unit {

namespace {

int journalFile = -1;  // of the current journal
int realOutput = -1;

int checked(int result, const char* what) {
  if (result < 0) throw std::system_error(errno, std::generic_category(), what);
  return result;
}

void sendOutputTo(int file) {
  std::fflush(stdout);
  checked(dup2(file, STDOUT_FILENO), "dup2");
}

}  // namespace

Journal::Journal() : file_(checked(openNamelessFile(), "tmpfile")) {
  checked(fcntl(file_, F_SETFL, O_APPEND), "fcntl");
  if (realOutput < 0) realOutput = checked(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3), "dup");
  journalFile = file_;
  resumeJournal();
}

Journal::~Journal() {
  suspendJournal();
  journalFile = -1;
  close(file_);
}

void Journal::add(std::string_view call) {
  std::string line(call);
  line += '\n';
  checked(static_cast<int>(write(file_, line.data(), line.size())), "write");
}

std::string Journal::bytes() const {
  std::string content(static_cast<std::size_t>(lseek(file_, 0, SEEK_END)), '\0');
  const auto length = pread(file_, content.data(), content.size(), 0);
  checked(static_cast<int>(length), "read");
  content.resize(static_cast<std::size_t>(length));
  return content;
}

std::vector<std::string> Journal::entries() const {
  static const std::regex stamp("^<@[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} : ");
  const std::string content = bytes();
  std::vector<std::string> entries;
  for (std::size_t begin = 0; begin < content.size();) {
    const std::size_t end = content.find('\n', begin);
    std::string entry = content.substr(begin, end - begin);
    if (end == std::string::npos) entry += " (no line feed)";
    if (entry.starts_with("<@")) {
      entry =
          std::regex_replace(entry, stamp, "<@time : ", std::regex_constants::format_first_only);
    }
    entries.push_back(std::move(entry));
    if (end == std::string::npos) break;
    begin = end + 1;
  }
  return entries;
}

std::vector<std::string> Journal::take() {
  auto taken = entries();
  clear();
  return taken;
}

void Journal::clear() {
  checked(ftruncate(file_, 0), "ftruncate");
}

void suspendJournal() {
  if (journalFile >= 0) sendOutputTo(realOutput);
}

void resumeJournal() {
  if (journalFile >= 0) sendOutputTo(journalFile);
}

}  // namespace unit
