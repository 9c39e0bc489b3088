#include "scope/pass/HostInput.h"

#include <array>

#include "scope/Clock.h"

namespace scope {
namespace {

constexpr std::size_t kRoom = std::size_t{1} << 16U;

}  // namespace

void HostInput::takeFromHost(int source) {
  std::array<char, kRoom> room{};
  const std::size_t count = readSome(source, room);
  if (count == 0) {
    bridge_.close();
    tap_.send({Kind::inputEnd, sessionTime(), {}});
    return;
  }
  const std::string_view bytes(room.data(), count);
  tap_.send({Kind::input, sessionTime(), bytes});
  if (!writeAll(bridge_.get(), bytes)) bridge_.close();
  isInLine_ = bytes.back() != '\n';
  sendWaiting();
}

bool HostInput::takeFromPage(int source) {
  std::array<char, kRoom> room{};
  const std::size_t count = readSome(source, room);
  waiting_.append(room.data(), count);
  sendWaiting();
  return count > 0;
}

void HostInput::sendWaiting() {
  const std::size_t end = waiting_.rfind('\n') + 1;  // 0: no line is whole
  if (isInLine_ || end == 0 || !bridge_.isOpen()) return;
  const std::string_view lines = std::string_view(waiting_).substr(0, end);
  tap_.send({Kind::command, sessionTime(), lines});
  if (!writeAll(bridge_.get(), lines)) bridge_.close();
  waiting_.erase(0, end);
}

}  // namespace scope
