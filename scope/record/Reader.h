// Reads a recording from its beginning, also while it is being written. What is damaged is passed
// over.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "scope/Descriptor.h"
#include "scope/Piece.h"

namespace scope {

// Of one thread. Holds little more than one record in memory, however long the recording is.
class RecordingReader {
 public:
  // Throws std::system_error, or std::runtime_error where the file is no recording.
  explicit RecordingReader(const std::string& path);

  // The next record's piece, valid until the next call; nothing at the end.
  std::optional<Piece> next();

  // Where the last sound record ends, in bytes from the file's beginning.
  std::uint64_t soundEnd() const { return soundEnd_; }
  // Bytes passed over that no sound record follows yet are not among them.
  std::uint64_t damaged() const { return damaged_; }

 private:
  bool fill();

  Descriptor file_;
  std::string buffer_;
  std::size_t begin_ = 0;     // of what is not read yet, in the buffer
  std::uint64_t offset_ = 0;  // of the same in the file
  std::uint64_t soundEnd_ = 0;
  std::uint64_t damaged_ = 0;
};

}  // namespace scope
