// When a bridge that has ended is started again, and when no more: docs/host-protocol.md, 6.
// Decides only; it waits for nothing.
#pragma once

#include <algorithm>

#include <chrono>
#include <optional>
#include <string>
#include <utility>

namespace vornix_host {

// How a run of the bridge ended.
struct RunEnd {
  int status = 0;  // the exit status, or minus the number of the signal that ended it
  std::chrono::milliseconds lived{};
  std::string lastLog;           // the text of the last line of its log
  std::string whyRadioUnusable;  // in words; empty where no "Z;" came
  bool isLoss = false;           // the host ended it, because a stream had stopped
};

// The pause before the next start, or why there is none, in words for the user.
struct Verdict {
  std::optional<std::chrono::milliseconds> pause;
  std::string why;
};

class Recipe {
 public:
  static constexpr std::chrono::seconds healthy{60};  // so long a life lets the pauses begin anew
  static constexpr int most = 5;                      // starts in a row without one

  // shortest: the first pause; each is twice the one before, up to thirty times the first.
  explicit Recipe(std::chrono::milliseconds shortest = std::chrono::seconds(1))
      : shortest_(shortest) {}

  Verdict after(const RunEnd& end) {
    if (!end.whyRadioUnusable.empty()) return over("Bluetooth is " + end.whyRadioUnusable);
    if (end.status == 0 && !end.isLoss) {
      const bool isFaulty = end.lastLog == "Erreur à l'init du Fenwix";
      return over(isFaulty ? "the Fenwix could not start: its serial number is 0"
                           : "the bridge has ended");
    }
    const bool isHealthy = end.lived >= healthy;
    shortLives_ = isHealthy ? 0 : shortLives_ + 1;
    const bool isRepeated = !end.isLoss && repeats(end, isHealthy);
    const bool isCommand = end.lastLog.starts_with("cde : ");
    if (isRepeated && !isCommand) {
      return over("a device is faulty: twice the bridge ended after \"" + end.lastLog + '"');
    }
    if (shortLives_ >= most) return over(std::to_string(most) + " starts in a row came to nothing");
    if (isRepeated) avoided_ = end.lastLog;
    return {std::min(shortest_ * (1 << std::max(shortLives_ - 1, 0)), shortest_ * 30), {}};
  }

  // What is logged of a command that has ended the bridge twice in a row; empty while there is
  // none.
  const std::string& avoided() const { return avoided_; }

 private:
  static Verdict over(std::string why) { return {std::nullopt, std::move(why)}; }

  // Whether the log's last line was the same the last time.
  bool repeats(const RunEnd& end, bool isHealthy) {
    const std::string before = std::exchange(lastFault_, isHealthy ? std::string() : end.lastLog);
    return !lastFault_.empty() && lastFault_ == before;
  }

  std::chrono::milliseconds shortest_;
  int shortLives_ = 0;
  std::string lastFault_;
  std::string avoided_;
};

}  // namespace vornix_host
