// What is known of the bridge and its devices, from what has passed so far.
//
// The bridge's messages say most of it; a name, the Corvelta's firmware and the radio's state stand
// in the log alone, whose texts docs/host-protocol.md lists. Nobody tells that a device is lost.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "scope/Piece.h"
#include "vornix_host/Message.h"

namespace scope {

enum class Family { tramsel, probe, corvelta, fenwix };
constexpr std::size_t kFamilies = 4;

struct StreamState {
  std::uint64_t count = 0;
  Time last = 0;  // of the last value; meaningless without one
};

struct DeviceState {
  bool isFound = false;    // accepted, and its connection asked for
  bool hasFailed = false;  // its services could not be read: it stays silent
  bool isReady = false;    // its commands are carried out, or it streams where it has none
  std::string name;        // as the device tells it; empty: not known
  std::string model;       // of a probe
  std::optional<int> battery;
  std::optional<int> health;
  std::optional<bool> isOnMains;  // true: it was when it last told
  std::string firmware;
  std::optional<vornix_host::FenwixIdentity> identity;
  // Of the Fenwix: open, or why not.
  std::optional<bool> isCommandOpen;
  std::string commandRefusal;
};

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
  using Streams = std::array<StreamState, 9>;

  DeviceState& at(Family family) { return devices_[static_cast<std::size_t>(family)]; }
  void appendDevice(std::string& json, Family family) const;

  void did(const vornix_host::LogEntry& entry);
  void did(const vornix_host::RadioUnusable& radio);
  void did(const vornix_host::ProbeFound& probe);
  void did(const vornix_host::TramselFound& tramsel);
  void did(const vornix_host::CorveltaBattery& battery);
  void did(const vornix_host::FenwixIdentity& identity);
  void did(const vornix_host::FenwixBattery& battery);
  void did(const vornix_host::FenwixRms& rms);
  void did(const vornix_host::FenwixRaw& raw);
  void did(const vornix_host::FenwixJson& document);
  void did(const vornix_host::TramselMotion& motion);
  void did(const vornix_host::CorveltaOnMains& mains);
  void did(const vornix_host::CorveltaCalibration& calibration);
  void did(const vornix_host::CorveltaCalibrationError& error);
  void did(const vornix_host::CorveltaContraction& record);
  void did(const vornix_host::ProbeMeasurement& measurement);
  void did(const vornix_host::UnknownMessage& message);
  void did(const vornix_host::DamagedLine& line);

  void didConnect(std::string_view name);
  void count(std::size_t stream);

  Time now_ = 0;
  std::array<DeviceState, kFamilies> devices_;
  Streams streams_;
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
