// The values and log lines of a twentieth of a second, as a line of JSON for the pages: for each
// stream its columns, the times first. The page reads it in page/data.js.
//
//   {"motion":[[t,...],[v1,...],...,[v9,...]],"rms1":[[t,...],[v,...]],"raw1":[[t,...],["hex",...]],
//    "log":[[t,"kind","text"],...]}
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

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
  static constexpr std::size_t kStreams = 9;
  static constexpr std::size_t kMostColumns = 10;

  template <typename... Cells>
  void row(std::size_t stream, Time time, const Cells&... cells);
  void log(Time time, std::string_view kind, std::string_view text);

  std::array<std::array<std::string, kMostColumns>, kStreams> columns_;
  std::string log_;
  std::uint64_t values_ = 0;
  std::size_t bytes_ = 0;
};

}  // namespace scope
