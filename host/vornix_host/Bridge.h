// The bridge as a child process, for a host in C++20 on Linux or macOS.
//
//   vornix_host::Bridge bridge({.command = {"vornix"}});
//   bridge.send("FX_getJson");  // is written once the Fenwix is ready
//   while (const auto event = bridge.next()) {
//     if (const auto* motion = event->as<vornix_host::TramselMotion>()) { ... event->monotonic ...
//     }
//   }
//
// A thread of its own reads, writes, restarts and ends the bridge, so the output is read whatever
// the host does. Events that nobody fetches grow in memory. All members may be called from any
// thread.
//
// After a document that may be damaged nothing is trusted (TrustLost): the bridge is then ended,
// started again if Options::restart is true, and never asked for a document again by this Bridge. A
// document that nobody asked for is an UnknownMessage.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>
#include <vector>

#include "Commands.h"  // IWYU pragma: export
#include "Message.h"   // IWYU pragma: export

namespace vornix_host {

namespace detail {

template <class Kind, class Variant>
inline constexpr bool isOneOf = false;
template <class Kind, class... Kinds>
inline constexpr bool isOneOf<Kind, std::variant<Kinds...>> = (std::is_same_v<Kind, Kinds> || ...);

}  // namespace detail

struct Started {
  int start = 1;  // 1 for the first
};

// "on", "off", "resetting", "unauthorized", "unsupported" or "unknown".
struct RadioChanged {
  std::string state;
};

// A device was lost, or failed, before its services were known; nothing more comes from it. name:
// as in the log.
struct DeviceLost {
  std::string name;
};

// A stream that had begun is silent: the only sign that a device was lost after it was ready.
// stream: "motion", "measurement", "rms 1", "rms 2", "raw 1" or "raw 2".
struct StreamLost {
  std::string stream;
};

// A document is, or may be, damaged. The rest of the output may be the device's text that looks
// like messages, so nothing more comes of this run but its end. why: in words, for the user.
struct TrustLost {
  std::string why;
};

// The bridge has ended, and all its output has come. status: its exit status, or minus the number
// of the signal that ended it.
struct Ended {
  int status = 0;
};

struct Restarting {
  std::chrono::milliseconds pause{};  // until the next start
};

// The bridge is not started again. why: in words, for the user.
struct GivenUp {
  std::string why;
};

struct Event {
  using Own = std::variant<Started, RadioChanged, DeviceLost, StreamLost, TrustLost, Ended,
                           Restarting, GivenUp>;

  std::variant<Message, Own> what;  // a message of the bridge, or an event about it

  // event.as<TramselMotion>(): the contents if they are of this kind, else nullptr.
  template <class Kind>
  const Kind* as() const {
    using Group = std::conditional_t<detail::isOneOf<Kind, Own>, Own, Message>;
    const Group* const group = std::get_if<Group>(&what);
    return group != nullptr ? std::get_if<Kind>(group) : nullptr;
  }

  // When this host received it: when the bytes were read from the pipe.
  std::chrono::steady_clock::time_point monotonic;
  std::chrono::system_clock::time_point wall;
};

class Bridge {
 public:
  struct Options {
    std::vector<std::string> command;  // the program, looked for in PATH, and its arguments
    bool restart = true;  // by the recipe (Recipe.h), when it ends by itself or trust is lost
    bool restartOnLoss = false;                                   // also when a device is lost
    std::chrono::milliseconds silence = std::chrono::seconds(5);  // after which a stream is lost
    // Silence of the output after which, at the end, nothing waits in the bridge any more.
    std::chrono::milliseconds drained = std::chrono::milliseconds(20);
    std::chrono::milliseconds shortestPause = std::chrono::seconds(1);  // before a restart
  };

  // Throws std::system_error when the program cannot be started.
  explicit Bridge(Options options);
  ~Bridge();  // close()
  Bridge(const Bridge&) = delete;
  Bridge& operator=(const Bridge&) = delete;

  // The next event; waits for it. Nothing once the bridge is over and all events were fetched.
  std::optional<Event> next();

  // The same; also nothing when none has come within this time.
  std::optional<Event> nextWithin(std::chrono::milliseconds time);

  // Writes a line once its device is ready and, if it uses the document's channel, a document that
  // was asked for has come: at once, later, or never. A waiting line survives a restart; a written
  // one is not repeated. Throws CommandError for a line that would end the bridge, for a command
  // that has ended it twice and, once trust was lost, for one that asks for a document (a waiting
  // one is then dropped). "kill" is close().
  void send(std::string_view line);

  // Stops what was started, reads waiting output, and ends the bridge. Usually takes a few
  // hundredths of a second; up to 15 seconds with a bridge that does not obey.
  void close();

 private:
  class Loop;
  std::unique_ptr<Loop> loop_;
};

}  // namespace vornix_host
