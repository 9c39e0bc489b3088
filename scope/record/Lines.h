// Cuts what passes into lines: the bridge's by host/, the host's at each line feed. Pieces of other
// kinds stay as they are.
#pragma once

#include <functional>
#include <string>

#include "scope/Piece.h"
#include "scope/record/LineTimes.h"
#include "vornix_host/LineReader.h"

namespace scope {

// Of one thread.
class Lines {
 public:
  // Called for each piece whose bytes are a line of the bridge, decoded as far as `line` goes.
  using TakeOutput = std::function<void(const Piece&, const vornix_host::Line& line)>;
  using TakeOther = std::function<void(const Piece&)>;

  Lines(TakeOutput takeOutput, TakeOther takeOther)
      : takeOutput_(std::move(takeOutput)), takeOther_(std::move(takeOther)) {}

  void add(const Piece& piece) {
    if (piece.kind == Kind::output) {
      reader_.feed(piece.bytes);
      times_.received(piece.bytes.size(), piece.time);
      takeLines();
      return;
    }
    // Nothing but the end of one closes a line of the other direction.
    if (piece.kind == Kind::input) {
      addInput(piece);
      return;
    }
    if (piece.kind == Kind::inputEnd) flushInput(piece.time);
    if (piece.kind == Kind::end) finish(piece.time);
    takeOther_(piece);
  }

  // Nothing more comes: what is left is a line that was cut off.
  void finish(Time time) {
    if (isFinished_) return;
    isFinished_ = true;
    flushInput(time);
    reader_.finish();
    takeLines();
  }

 private:
  // A host's line is recorded in pieces of this size where it is longer, so that it needs no more
  // memory than that.
  static constexpr std::size_t kLongestInput = std::size_t{1} << 16U;

  void takeLines() {
    while (const auto line = reader_.next()) {
      takeOutput_({Kind::output, times_.take(line->bytes.size()), line->bytes}, *line);
    }
  }

  void addInput(const Piece& piece) {
    std::string_view rest = piece.bytes;
    while (!rest.empty()) {
      const std::size_t end = rest.find('\n');
      const std::size_t size = end == std::string_view::npos ? rest.size() : end + 1;
      input_ += rest.substr(0, size);
      rest.remove_prefix(size);
      if (end != std::string_view::npos || input_.size() >= kLongestInput) flushInput(piece.time);
    }
  }

  void flushInput(Time time) {
    if (!input_.empty()) takeOther_({Kind::input, time, input_});
    input_.clear();
  }

  TakeOutput takeOutput_;
  TakeOther takeOther_;
  vornix_host::LineReader reader_;
  LineTimes times_;
  std::string input_;
  bool isFinished_ = false;
};

}  // namespace scope
