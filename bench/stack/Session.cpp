#include "Session.h"

#include <poll.h>

#include <algorithm>
#include <stdexcept>

namespace bench {

using namespace std::chrono_literals;

namespace {

constexpr auto kPatience = 120s;

}  // namespace

Session::Session(Process& player) : player_(player), seen_(player.output().size()) {}

void Session::start(const std::vector<std::string>& command) {
  startTime_ = Clock::now();
  client_.emplace(command);
}

void Session::waitForEvent(std::string_view event) {
  require(
      [&] {
        for (const Output::Line& line : player_.output().linesFrom(seen_)) {
          seen_ += line.text.size() + 1;
          if (line.text.starts_with("failed")) throw std::runtime_error(std::string(line.text));
          if (line.text == event) return true;
        }
        return false;
      },
      event);
}

Output::Line Session::waitForLine(const std::function<bool(std::string_view)>& isMeant) {
  Output::Line found;
  require(
      [&] {
        const auto lines = client_->output().linesFrom(0);
        const auto line = std::ranges::find_if(lines, isMeant, &Output::Line::text);
        if (line == lines.end()) return false;
        found = *line;
        return true;
      },
      "a line");
  return found;
}

void Session::settle() {
  const Clock::time_point deadline = Clock::now() + kPatience;
  bool isQuiet = false;
  while (!isQuiet) {
    if (Clock::now() > deadline) throw std::runtime_error("the client does not come to rest");
    const std::size_t size = client_->output().size();
    const Nanoseconds time = cpuTime(client_->id());
    serveFor(500ms);
    isQuiet = client_->output().size() == size && cpuTime(client_->id()) - time < 1ms;
  }
}

void Session::serveFor(Nanoseconds time) {
  const Clock::time_point end = Clock::now() + time;
  while (Clock::now() < end) serve(end);
}

void Session::stallFor(Nanoseconds time) {
  isStalled_ = true;
  serveFor(time);
  isStalled_ = false;
}

void Session::require(const std::function<bool()>& condition, std::string_view what) {
  const Clock::time_point deadline = Clock::now() + kPatience;
  while (!condition()) {
    const bool hasEnded = client_ && !client_->output().isOpen();
    if (hasEnded || Clock::now() > deadline) {
      throw std::runtime_error("waited in vain for " + std::string(what) + "\n" +
                               (client_ ? client_->errors() : ""));
    }
    serve(deadline);
  }
}

void Session::serve(Clock::time_point end) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
  const bool isRead = client_ && !isStalled_ && client_->output().isOpen();
  pollfd wanted[]{{isRead ? client_->output().descriptor() : -1, POLLIN, 0},
                  {player_.output().descriptor(), POLLIN, 0}};
  if (::poll(wanted, 2, static_cast<int>(std::max<std::int64_t>(left, 0))) <= 0) return;
  if (wanted[0].revents != 0) client_->output().readOnce();
  if (wanted[1].revents != 0) player_.output().readOnce();
}

}  // namespace bench
