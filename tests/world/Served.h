// One device that the bridge has taken, as the judge follows it: what the device has given over
// confirmed ways, and has not been seen told, and the model of what is to be told of it.
#pragma once

#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "lab/Witness.h"
#include "tests/oracle/Handlers.h"

namespace world {

using lab::Microseconds;

class Served {
 public:
  enum class Is { no, maybe, yes };

  Served(const oracle::Family& family, lab::StackDevice& device, const std::string& name);

  lab::StackDevice& device() const { return device_; }
  // What making the handler says.
  const std::vector<std::string>& firstLines() const { return firstLines_; }

  // What has come from the device. Nothing: a read that was refused.
  void value(const std::string& uuid, std::optional<oracle::Bytes> value);
  // due: until when it has to be told, if that is not at once.
  void confirmation(const std::string& uuid, bool isMade,
                    std::optional<Microseconds> due = std::nullopt);
  // What is due later is due only then, or (the link is lost) perhaps never.
  void postpone(Microseconds due);
  void leaveLateOnesOpen();
  // Whether it is told is open from here on: the subscription is being ended, for one.
  void leaveOpen(const std::string& uuid);

  // Tries to explain a line. The lines that have to follow it at once, or nothing.
  std::optional<std::vector<std::string>> explain(const std::string& line);
  // Whether an end of this kind can be explained.
  bool explainsEnd(const char* entry) const;
  // All that has come must have been told: the first line that is missing, or nothing.
  std::optional<std::string> missing(Microseconds now);

  // What the host has ordered, and has not arrived at the device.
  struct Order {
    std::string uuid;
    oracle::Bytes bytes;
    std::vector<std::string> ends;  // the streams that have to end before
  };
  std::deque<Order> orders;
  Is isTreeKnown = Is::no;
  bool isSpoilt = false;  // a request was not served: for a while nothing can be expected
  Microseconds spoiltAt{0};
  std::set<std::string> refused;  // what such requests were for
  Microseconds takenAt{};
  Microseconds upAt{};
  int links = 0;  // in this life of the bridge
  int losses = 0;
  int failedDiscoveries = 0;        // of services, by the device's refusal
  int toldDiscoveries = 0;          // that have failed, or that the loss of a link has left open
  bool isDiscoverySpoilt = false;   // the answer may never come
  bool hasChanged = false;          // its services have, since the link is up
  bool hasFailedToConnect = false;  // and is not asked for again
  std::map<std::string, bool> streams;  // that the host has switched
  std::map<std::string, int> reads;
  std::set<std::string> confirmed;  // subscriptions
  std::set<std::string> renewed;    // of them, those that are made again behind the bridge's back

  // What has to be subscribed, and to be read once, when it is set up.
  const std::vector<std::string>& subscriptions() const { return subscriptions_; }
  const std::vector<std::string>& readings() const { return readings_; }

 private:
  struct Event {
    std::optional<oracle::Bytes> value;
    bool isConfirmation = false;
    bool isMade = false;
    bool isOpen = false;
    bool wasPerhapsTaken = false;  // already, in which case nothing was said
    std::optional<Microseconds> due = std::nullopt;
    std::size_t number = 0;
  };
  using Queues = std::map<std::string, std::deque<Event>>;
  struct Outcome {
    std::vector<std::string> lines;
    const char* end = nullptr;
  };

  void leaveOrderOpen(Queues& queues, std::size_t number, const oracle::Handler& handler) const;
  std::optional<std::string> missing(std::deque<Event>& events, const std::string& uuid,
                                     Microseconds now);
  Outcome apply(oracle::Handler& handler, const std::string& uuid, const Event& event) const;
  static bool matches(const std::string& expected, const std::string& line);

  lab::StackDevice& device_;
  mutable oracle::Expected expected_;
  std::unique_ptr<oracle::Handler> handler_;
  std::vector<std::string> firstLines_;
  std::vector<std::string> subscriptions_;
  std::vector<std::string> readings_;
  Queues queues_;
  std::size_t count_ = 0;
};

}  // namespace world
