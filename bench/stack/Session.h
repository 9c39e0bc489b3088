// One measured client and the program that plays its device or its bluetoothd, served by one loop
// that reads the outputs of both as they come.
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
  // player: a program that takes control lines and writes a line for each event; a line that begins
  // with "failed" ends the session. It outlives the session.
  explicit Session(Process& player);

  void start(const std::vector<std::string>& command);
  Process& client() { return *client_; }
  Clock::time_point startTime() const { return startTime_; }

  void tell(const std::string& order) const { player_.writeLine(order); }

  // These wait, and throw std::runtime_error when nothing comes.
  void waitForEvent(std::string_view event);  // of the player, after the last one waited for
  Output::Line waitForLine(const std::function<bool(std::string_view)>& isMeant);  // of the client
  void settle();  // until no output comes any more and the client is idle

  void serveFor(Nanoseconds time);

  // Does not read the client's output for this time, as a host that stalls.
  void stallFor(Nanoseconds time);

 private:
  void require(const std::function<bool()>& condition, std::string_view what);
  void serve(Clock::time_point end);

  Process& player_;
  std::size_t seen_;  // how many bytes of the player's output were handled
  bool isStalled_ = false;
  Clock::time_point startTime_;
  std::optional<Process> client_;
};

}  // namespace bench
