// The file that a recording is written to.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "scope/Descriptor.h"

namespace scope {

// Of one thread. All throw std::system_error, or std::runtime_error where the reason is the
// project's own; its text is for people. After a failed append the file ends with a whole record.
class RecordFile {
 public:
  // Opens the file, or makes it. Bytes at its end that are no record are cut off, since nobody
  // could read what is appended behind them; damage with sound records behind it stays. Refuses a
  // file that is no recording, or that another process records to.
  explicit RecordFile(const std::string& path);

  // Whole records, as Format.h makes them.
  void append(std::string_view records);

  // Returns when what was appended would outlive the machine.
  void sync();

  // Gives the file the next free name, FILE.1 and so on, and goes on with an empty one.
  void rotate();

  const std::string& path() const { return path_; }
  std::uint64_t size() const { return size_; }
  // Cut off when it was opened.
  std::uint64_t repaired() const { return repaired_; }

 private:
  void open();
  void repair();

  std::string path_;
  Descriptor file_;
  std::uint64_t size_ = 0;
  std::uint64_t repaired_ = 0;
};

}  // namespace scope
