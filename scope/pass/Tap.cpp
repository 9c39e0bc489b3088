#include "scope/pass/Tap.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstring>

namespace scope {
namespace {

constexpr std::size_t kHead = 4 + 1 + 8;
// What the reader may lag behind: ten seconds of 2,000 motions. The system may grant less.
constexpr int kPipeCapacity = 1 << 20;
constexpr int kLastPatience = 300;  // milliseconds

std::array<char, kHead> headOf(const Piece& piece) {
  std::array<char, kHead> head{};
  const auto size = static_cast<std::uint32_t>(piece.bytes.size());
  std::memcpy(head.data(), &size, 4);
  head[4] = static_cast<char>(piece.kind);
  std::memcpy(head.data() + 5, &piece.time, 8);
  return head;
}

}  // namespace

TapSender::TapSender(Descriptor pipe) : pipe_(std::move(pipe)) {
  ::fcntl(pipe_.get(), F_SETPIPE_SZ, kPipeCapacity);
  ::fcntl(pipe_.get(), F_SETFL, O_NONBLOCK);
}

void TapSender::send(const Piece& piece) {
  const std::lock_guard lock(mutex_);
  if (!pipe_.isOpen()) return;
  if (!flush()) {
    missed_ += piece.bytes.size();
    return;
  }
  if (missed_ > 0) {
    const std::string count = std::to_string(missed_);
    const auto head = headOf({Kind::missed, piece.time, count});
    rest_.append(head.data(), head.size()).append(count);
    missed_ = 0;
  }
  const auto head = headOf(piece);
  rest_.append(head.data(), head.size()).append(piece.bytes);
  flush();
}

void TapSender::close() {
  const std::lock_guard lock(mutex_);
  pollfd one{pipe_.get(), POLLOUT, 0};
  while (pipe_.isOpen() && !flush() && ::poll(&one, 1, kLastPatience) > 0) {
  }
  pipe_.close();
}

// True when nothing is left over.
bool TapSender::flush() {
  std::size_t done = 0;
  while (done < rest_.size()) {
    const ssize_t count = ::write(pipe_.get(), rest_.data() + done, rest_.size() - done);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 && errno != EAGAIN) pipe_.close();  // nobody watches any more
    if (count < 0) break;
    done += static_cast<std::size_t>(count);
  }
  rest_.erase(0, done);
  return rest_.empty();
}

bool TapReader::read(int milliseconds, const std::function<void(const Piece&)>& take) {
  if (!isReadable(pipe_.get(), milliseconds)) return true;
  constexpr std::size_t kStep = std::size_t{1} << 16U;
  const std::size_t before = buffer_.size();
  buffer_.resize(before + kStep);
  const std::size_t count = readSome(pipe_.get(), std::span(buffer_).subspan(before));
  buffer_.resize(before + count);

  std::string_view rest = buffer_;
  while (rest.size() >= kHead) {
    std::uint32_t size = 0;
    std::memcpy(&size, rest.data(), 4);
    if (rest.size() - kHead < size) break;
    Piece piece{static_cast<Kind>(rest[4]), 0, rest.substr(kHead, size)};
    std::memcpy(&piece.time, rest.data() + 5, 8);
    take(piece);
    rest.remove_prefix(kHead + size);
  }
  buffer_.erase(0, buffer_.size() - rest.size());
  return count > 0;
}

}  // namespace scope
