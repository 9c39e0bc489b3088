// Decides whether, and when, a bridge that has ended is started again: docs/host-protocol.md, 6. It
// only decides and never waits.
#pragma once

#include <algorithm>

#include <chrono>
#include <csignal>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Commands.h"

namespace vornix_host {

// How a run of the bridge ended.
struct RunEnd {
  // The exit status; for a signal minus its number, or 128 plus its number as a shell reports it.
  int status = 0;
  std::chrono::milliseconds lived{};
  std::string lastLog;           // the text of the last log line
  std::string whyRadioUnusable;  // in words; empty if no "Z;" came
  bool isLoss = false;           // the host ended the bridge because a device was lost
};

// The pause before the next start, or why there is none, in words for the user.
struct Verdict {
  std::optional<std::chrono::milliseconds> pause;
  std::string why;
};

class Recipe {
 public:
  static constexpr std::chrono::seconds healthy{60};  // after such a life the pauses begin anew
  static constexpr int most = 5;                      // shorter lives in a row before it gives up

  // shortest: the first pause; each is twice the one before.
  explicit Recipe(std::chrono::milliseconds shortest = std::chrono::seconds(1))
      : shortest_(shortest) {}

  Verdict after(const RunEnd& end) {
    if (!end.whyRadioUnusable.empty()) return over("Bluetooth is " + end.whyRadioUnusable);
    if (end.status >= 0 && end.status < 128 && !end.isLoss) {
      const bool isFaulty = end.lastLog == "Erreur à l'init du Fenwix";
      return over(isFaulty ? "the Fenwix could not start: its serial number is 0"
                           : "the bridge has ended with " + std::to_string(end.status));
    }
    const bool isHealthy = end.lived >= healthy;
    shortLives_ = isHealthy ? 0 : shortLives_ + 1;
    // Other signals come from outside the bridge, and say nothing about a device.
    const bool isAborted = end.status == -SIGABRT || end.status == 128 + SIGABRT;
    const bool isRepeated = !end.isLoss && isAborted && repeats(end, isHealthy);
    const bool isCommand = end.lastLog.starts_with("cde : ");
    if (isRepeated && !isCommand) {
      return over("a device is faulty: twice the bridge ended after \"" + end.lastLog + '"');
    }
    if (isRepeated) {
      avoided_.push_back(end.lastLog);
      shortLives_ = 0;  // the cause is gone
    }
    if (shortLives_ >= most) return over(std::to_string(most) + " starts in a row came to nothing");
    return {shortest_ * (1 << std::max(shortLives_ - 1, 0)), {}};
  }

  // Whether this command, or its counterpart that stops or starts the same, has ended the bridge
  // twice in a row.
  bool isAvoided(const Command& command) const {
    return std::ranges::any_of(commands, [&](const Command& one) {
      const bool isSame =
          one.word == command.word || one.stop == command.word || one.word == command.stop;
      return isSame && std::ranges::count(avoided_, one.log) > 0;
    });
  }

 private:
  static Verdict over(std::string why) { return {std::nullopt, std::move(why)}; }

  // Whether the last log line is the same as that of the run before.
  bool repeats(const RunEnd& end, bool isHealthy) {
    const std::string before = std::exchange(lastFault_, isHealthy ? std::string() : end.lastLog);
    return !lastFault_.empty() && lastFault_ == before;
  }

  std::chrono::milliseconds shortest_;
  int shortLives_ = 0;
  std::string lastFault_;
  std::vector<std::string> avoided_;  // log texts of commands
};

}  // namespace vornix_host
