// The values and log lines of a twentieth of a second, as a line of JSON for the pages: for each
// plot its columns, the times first. The page reads it in page/data.js.
//
//   {"motion":[[t,...],[v1,...],...,[v9,...]],"rms1":[[t,...],[v,...]],"raw1":[[t,...],["hex",...]],
//    "log":[[t,"kind","text"],...]}
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "scope/Piece.h"
#include "vornix_host/Message.h"

namespace scope {

class Batch {
 public:
  void add(Time time, const vornix_host::Message& message);
  void add(const Piece& piece);  // of another kind than Kind::output

  bool isEmpty() const { return values_ == 0 && log_.empty(); }
  // So large that it is better sent than added to.
  bool isFull() const { return bytes_ > (std::size_t{256} << 10U); }
  std::uint64_t values() const { return values_; }

  // The JSON object's members, and begins anew.
  std::string take();

 private:
  void did(Time time, const vornix_host::LogEntry& entry);
  void did(Time time, const vornix_host::UnknownMessage& unknown);
  void did(Time time, const vornix_host::DamagedLine& damaged);
  void did(Time time, const vornix_host::FenwixJson& document);
  template <typename Kind>
  void did(Time time, const Kind& message);
  void log(Time time, std::string_view kind, std::string_view text);

  std::array<std::vector<std::string>, vornix_host::plots.size()> columns_;
  std::string log_;
  std::uint64_t values_ = 0;
  std::size_t bytes_ = 0;
};

}  // namespace scope
