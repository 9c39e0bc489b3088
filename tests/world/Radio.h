// The stack below the bridge, as far as the judge has to know it: in which state its radio is, what
// of its devices a bridge can see, and in what it differs from others. Each platform has its own.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "lab/Witness.h"
#include "lab/bluetoothd/Agenda.h"

namespace world {

using lab::Microseconds;

// What differs from stack to stack.
struct Habits {
  bool reportsLinks = true;          // that a device is connected is told as if it advertised
  bool noticesLinksLate = false;     // at the next attempt to connect
  bool tellsRefusals = true;         // of subscriptions, at once
  bool discoversForLinks = true;     // as long as one is wanted
  bool tellsEveryState = false;      // also those that have passed
  Microseconds settling{6'500'000};  // within which the radio's state has to be told
  Microseconds setUp{12'000'000};    // how long a request that is never answered holds others up
};

class Radio {
 public:
  struct Situation {
    Microseconds since;
    std::string state;  // as it has to be told; kSettling while none has
  };

  static constexpr const char* kSettling = "settling";

  explicit Radio(const lab::Agenda& agenda) : agenda_(agenda) {}
  Radio(const Radio&) = delete;
  Radio& operator=(const Radio&) = delete;
  virtual ~Radio() = default;

  Habits habits;
  std::vector<lab::StackDevice*> devices;

  // A bridge begins. What one before it has seen and asked for does not matter any more.
  void didStart() {
    forget();
    situations_.clear();
    look();
  }

  // In the order in which they were, since the bridge has begun.
  const std::vector<Situation>& situations() const { return situations_; }
  void look() {
    std::string now = situation();
    if (!situations_.empty() && situations_.back().state == now) return;
    situations_.push_back({agenda_.now(), std::move(now)});
  }

  // Whether this one has to be told although another has followed.
  virtual bool isToBeTold(std::size_t situation) const = 0;

  // Whether it discovers for the bridge; nothing when there is nothing to do it with, or it cannot.
  virtual std::optional<bool> isDiscovering() const = 0;
  // Whether a bridge that scans is told of the device.
  virtual bool doesReport(const lab::StackDevice& device) const = 0;

  // What a bridge that is told of all objects sees, and what it asks for: when that comes, and when
  // the stack looks at it.
  virtual void didListObjects() {}
  virtual void didReceive(std::string_view /*path*/, std::string_view /*member*/) {}
  virtual void didAsk(const std::string& /*path*/, const std::string& /*member*/) {}

 protected:
  virtual void forget() = 0;
  virtual std::string situation() = 0;

  const lab::Agenda& agenda_;

 private:
  std::vector<Situation> situations_;
};

}  // namespace world
