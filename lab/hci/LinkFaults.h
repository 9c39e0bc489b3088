// Faults of the link: connections that are turned away, a request that is answered late or never, a
// link that is lost at a given step.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace lab {

class LinkFaults {
 public:
  enum class Verdict { serve, ignore, drop, delay };

  // "refuse-connections=N": the next N links are ended (by Peripheral at their third request).
  // "drop-at=STEP", "silence-at=STEP": at that step, once, the link is ended or the request is
  // ignored. STEP is a request as AttServer::step names it ("subscribe:2A19"), "request:N" (the
  // Nth of a link) or, for drop-at, "value:N" (the Nth value sent on a link).
  // "late-at=STEP,MS": that request is answered MS milliseconds later, once.
  // False when it is none of these.
  bool set(std::string_view name, std::string_view argument);
  void clear() { *this = LinkFaults(); }

  bool refusesConnection();
  void linkUp();
  Verdict onRequest(const std::string& step);
  std::chrono::milliseconds delay() const { return delay_; }  // of the verdict "delay"
  bool dropsAfterValue();

 private:
  bool setLate(std::string_view argument);
  bool isReached(std::optional<std::string>& wanted, const std::string& step) const;

  std::uint32_t refusedConnections_ = 0;
  std::optional<std::string> dropAt_;
  std::optional<std::string> silenceAt_;
  std::optional<std::string> lateAt_;
  std::chrono::milliseconds delay_{0};
  std::uint32_t requests_ = 0;
  std::uint32_t values_ = 0;
};

}  // namespace lab
