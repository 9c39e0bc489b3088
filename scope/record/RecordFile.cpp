#include "scope/record/RecordFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "scope/record/Format.h"
#include "scope/record/Reader.h"

namespace scope {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const std::string& path) {
  throw std::system_error(errno, std::generic_category(), path);
}

// A file that was made or renamed is there after a power cut only when its folder is synced.
void syncFolderOf(const std::string& path) {
  const fs::path folder = fs::path(path).parent_path();
  const Descriptor opened(
      ::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (opened.isOpen()) ::fsync(opened.get());
}

}  // namespace

RecordFile::RecordFile(const std::string& path) : path_(path) {
  open();
}

void RecordFile::open() {
  file_ = Descriptor(::open(path_.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC, 0600));
  struct stat about {};
  if (!file_.isOpen() || ::fstat(file_.get(), &about) != 0) fail(path_);
  if (!S_ISREG(about.st_mode)) throw std::runtime_error(path_ + ": not a plain file");
  if (::flock(file_.get(), LOCK_EX | LOCK_NB) != 0) {
    throw std::runtime_error(path_ + ": another vornix-scope records to it");
  }
  size_ = static_cast<std::uint64_t>(about.st_size);
  repair();
  if (size_ == 0) {
    append(kFormatName);
    syncFolderOf(path_);
  }
}

void RecordFile::repair() {
  if (size_ == 0) return;
  RecordingReader reader(path_);  // refuses what is no recording
  while (reader.next()) {
  }
  const std::uint64_t end = reader.soundEnd();
  if (end == size_) return;
  if (::ftruncate(file_.get(), static_cast<off_t>(end)) != 0) fail(path_);
  repaired_ = size_ - end;
  size_ = end;
}

void RecordFile::append(std::string_view records) {
  while (!records.empty()) {
    const ssize_t count = ::write(file_.get(), records.data(), records.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) {
      const int error = errno;
      repair();
      errno = error;
      fail(path_);
    }
    size_ += static_cast<std::uint64_t>(count);
    records.remove_prefix(static_cast<std::size_t>(count));
  }
}

void RecordFile::sync() {
  if (::fdatasync(file_.get()) != 0) fail(path_);
}

void RecordFile::rotate() {
  sync();
  int number = 1;
  const auto named = [&] { return path_ + '.' + std::to_string(number); };
  while (fs::exists(named())) ++number;
  if (::rename(path_.c_str(), named().c_str()) != 0) fail(path_);
  open();
}

}  // namespace scope
