// What is known of the bridge and its devices, from what has passed so far.
//
// The bridge's messages say most of it; a name, the Corvelta's firmware and the radio's state stand
// in the log alone, whose texts docs/host-protocol.md lists. Nobody tells that a device is lost.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "scope/Piece.h"
#include "vornix_host/Message.h"

namespace scope {

using vornix_host::Family;

struct StreamState {
  std::uint64_t count = 0;
  Time last = 0;  // of the last value; meaningless without one
};

// A field of a device's messages: the latest value, nothing where the device does not know it yet.
struct Fact {
  std::string_view field;
  std::optional<std::int64_t> value;
};

struct DeviceState {
  bool isFound = false;     // accepted, and its connection asked for
  bool hasFailed = false;   // its services could not be read: it stays silent
  bool isReady = false;     // its commands are carried out, or it streams where it has none
  std::string name;         // as the device tells it; empty: not known
  std::vector<Fact> facts;  // of the fields that have come, but for those that are curves
  // Of the Corvelta.
  std::optional<bool> isOnMains;  // true: it was when it last told
  std::string firmware;
  // Of the Fenwix: open, or why not.
  std::optional<bool> isCommandOpen;
  std::string commandRefusal;
};

// The value of a fact, if it has come and is known.
std::optional<std::int64_t> valueOf(const DeviceState& device, std::string_view field);

class State {
 public:
  void add(Time time, const vornix_host::Message& message);
  void add(const Piece& piece);  // of another kind than Kind::output

  // Whether the bridge would carry the line out. A line that it would end abnormally for, or not
  // know, is not safe; nor is any once it has ended.
  bool isSafe(std::string_view command) const;

  const DeviceState& device(Family family) const {
    return devices_[static_cast<std::size_t>(family)];
  }
  std::optional<Ending> ending() const { return ending_; }
  std::string toJson() const;

  // Counts every change that toJson() shows but for the streams' counts.
  std::uint64_t changes() const { return changes_; }

 private:
  DeviceState& at(Family family) { return devices_[static_cast<std::size_t>(family)]; }
  void appendDevice(std::string& json, Family family) const;

  void did(const vornix_host::LogEntry& entry);
  void did(const vornix_host::RadioUnusable& radio);
  void did(const vornix_host::CorveltaOnMains& mains);
  void did(const vornix_host::UnknownMessage& message);
  void did(const vornix_host::DamagedLine& line);
  // Of any other kind: what the table of the messages says of it.
  template <typename Kind>
  void did(const Kind& message);

  void didConnect(std::string_view name);

  Time now_ = 0;
  std::array<DeviceState, vornix_host::families.size()> devices_;
  std::array<StreamState, vornix_host::plots.size()> streams_;
  std::string version_;
  std::string radio_;
  bool isScanning_ = false;
  bool hasSerialZero_ = false;
  std::optional<int> unusable_;  // the number of the "Z;" message
  std::optional<Ending> ending_;
  Time endedAt_ = 0;
  bool isInputClosed_ = false;
  std::optional<std::uint64_t> stalled_;  // milliseconds that the host has not read for
  std::string lastCommand_;
  std::uint64_t lines_ = 0;
  std::uint64_t damaged_ = 0;
  std::uint64_t unknown_ = 0;
  std::uint64_t missed_ = 0;
  std::uint64_t changes_ = 0;
};

}  // namespace scope
