#include "scope/record/Reader.h"

#include <fcntl.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

#include "scope/record/Format.h"

namespace scope {

RecordingReader::RecordingReader(const std::string& path)
    : file_(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
  if (!file_.isOpen()) throw std::system_error(errno, std::generic_category(), path);
  while (buffer_.size() < kFormatName.size() && fill()) {
  }
  const std::string_view name = std::string_view(buffer_).substr(0, kFormatName.size());
  // A recording that the power cut ended at once holds a part of the name, or nothing.
  if (!kFormatName.starts_with(name)) throw std::runtime_error(path + ": not a recording");
  if (name.size() == kFormatName.size()) soundEnd_ = name.size();
  begin_ = name.size();
  offset_ = name.size();
}

std::optional<Piece> RecordingReader::next() {
  std::optional<Record> record;
  std::size_t at = begin_;
  for (;;) {
    const std::string_view rest = std::string_view(buffer_).substr(at);
    record = recordAt(rest);
    if (record) break;
    // A record may go on behind what has been read.
    if (rest.size() < kRecordHead + kLongestRecord && fill()) {
      at -= begin_;
      buffer_.erase(0, begin_);
      begin_ = 0;
      continue;
    }
    if (rest.empty()) return std::nullopt;
    ++at;
  }
  damaged_ += at - begin_;
  offset_ += at - begin_ + record->size;
  soundEnd_ = offset_;
  begin_ = at + record->size;
  return record->piece;
}

bool RecordingReader::fill() {
  constexpr std::size_t kStep = std::size_t{1} << 18U;
  const std::size_t before = buffer_.size();
  buffer_.resize(before + kStep);
  const std::size_t count = readSome(file_.get(), std::span(buffer_).subspan(before));
  buffer_.resize(before + count);
  return count > 0;
}

}  // namespace scope
