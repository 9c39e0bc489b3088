// The bridge as a child process, for a host in C++20 on Linux or macOS.
//
//   vornix_host::Bridge bridge({.command = {"vornix"}});
//   bridge.send("FX_getJson");  // is written once the Fenwix is ready
//   while (const auto event = bridge.next()) {
//     if (const auto* motion = event->as<vornix_host::TramselMotion>()) { ... event->monotonic ...
//     }
//   }
//
// A thread of its own reads, writes, starts again and ends; whatever the host does, the output is
// read. Events that nobody fetches grow in memory. All members may be called from any thread.
//
// Behind a document that may be damaged nothing is believed (TrustLost): the bridge is ended then,
// started again if Options::restart says so, and asked for no document any more by this Bridge.
// A document that nobody asked for is an UnknownMessage.
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

// A device was lost, or failed, before its services were known: it stays silent. Its name is as the
// log has it.
struct DeviceLost {
  std::string name;
};

// A stream that had begun is silent; nothing else tells that a device is lost by then. "motion",
// "measurement", "rms 1", "rms 2", "raw 1" or "raw 2".
struct StreamLost {
  std::string stream;
};

// A document is damaged, or may be. What follows may be a device's text that looks like messages:
// of this run nothing comes any more but its end. why: in words, for the user.
struct TrustLost {
  std::string why;
};

// All that the bridge wrote has come before. status: minus the number of a signal that ended it.
struct Ended {
  int status = 0;
};

struct Restarting {
  std::chrono::milliseconds pause{};  // until the next start
};

// It is not started again. why: in words, for the user.
struct GivenUp {
  std::string why;
};

struct Event {
  using Own = std::variant<Started, RadioChanged, DeviceLost, StreamLost, TrustLost, Ended,
                           Restarting, GivenUp>;

  std::variant<Message, Own> what;  // what the bridge wrote, or what became of it

  // event.as<TramselMotion>(): what it is, if it is of this kind, or nullptr.
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
    std::vector<std::string> command;  // the program, looked for as a shell does, and arguments
    bool restart = true;  // by the recipe (Recipe.h), when it ends by itself or trust is lost
    bool restartOnLoss = false;                                   // when a device is lost
    std::chrono::milliseconds silence = std::chrono::seconds(5);  // what counts as that
    // Of the output at the end: nothing waits in the bridge any more.
    std::chrono::milliseconds drained = std::chrono::milliseconds(20);
    std::chrono::milliseconds shortestPause = std::chrono::seconds(1);  // before a start again
  };

  // Throws std::system_error when the program cannot be started.
  explicit Bridge(Options options);
  ~Bridge();  // close()
  Bridge(const Bridge&) = delete;
  Bridge& operator=(const Bridge&) = delete;

  // The next event; waits for it. Nothing once the bridge is over and all events were fetched.
  std::optional<Event> next();

  // The same; nothing also when none has come within so long.
  std::optional<Event> nextWithin(std::chrono::milliseconds time);

  // Writes a line once its device is ready, and a document that was asked for has come where the
  // line shares its channel: at once, later, or never if that does not come. What
  // waits outlives a restart, what was written is not repeated. Throws CommandError for a line that
  // would end the bridge, for a command that has ended it twice, and, once trust was lost, for one
  // that asks for a document; a waiting one is dropped then. "kill" is close().
  void send(std::string_view line);

  // Stops what was started, reads what waits in the bridge, and ends it: takes up to 15 seconds
  // with a bridge that does not obey, usually a few hundredths of one.
  void close();

 private:
  class Loop;
  std::unique_ptr<Loop> loop_;
};

}  // namespace vornix_host
