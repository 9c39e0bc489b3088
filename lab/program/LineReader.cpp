#include "lab/program/LineReader.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace lab {

bool LineReader::isReady() const {
  pollfd wanted{fileDescriptor_, POLLIN, 0};
  return ::poll(&wanted, 1, 0) > 0;
}

std::vector<std::string> LineReader::read() {
  std::array<char, 4096> buffer;
  const ssize_t size = ::read(fileDescriptor_, buffer.data(), buffer.size());
  if (size == 0 || (size < 0 && errno != EINTR && errno != EAGAIN)) isAtEnd_ = true;
  if (size > 0) pending_.append(buffer.data(), static_cast<std::size_t>(size));
  std::vector<std::string> lines;
  for (std::size_t end = pending_.find('\n'); end != std::string::npos; end = pending_.find('\n')) {
    lines.push_back(pending_.substr(0, end));
    pending_.erase(0, end + 1);
  }
  return lines;
}

}  // namespace lab
