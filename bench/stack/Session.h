// One client that is measured and the program that plays to it, served by one loop: the outputs of
// both are read as they come.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Process.h"

namespace bench {

class Session {
 public:
  // player: a program that is told what to do and tells what it has done, one line each; a line
  // that begins with "failed" ends the session. Outlives the session.
  explicit Session(Process& player);

  void start(const std::vector<std::string>& command);
  Process& client() { return *client_; }
  Clock::time_point startTime() const { return startTime_; }

  void tell(const std::string& order) const { player_.writeLine(order); }

  // These wait, and throw std::runtime_error when they do so in vain.
  void waitForEvent(std::string_view event);  // of the player, since the one waited for last
  Output::Line waitForLine(const std::function<bool(std::string_view)>& isMeant);  // of the client
  void settle();  // nothing comes any more and the client has nothing to do

  void serveFor(Nanoseconds time);

  // As a host that does not read: the client's output is left alone.
  void stallFor(Nanoseconds time);

 private:
  void require(const std::function<bool()>& condition, std::string_view what);
  void serve(Clock::time_point end);

  Process& player_;
  std::size_t seen_;  // of the player's output
  bool isStalled_ = false;
  Clock::time_point startTime_;
  std::optional<Process> client_;
};

}  // namespace bench
