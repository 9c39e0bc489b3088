// What the pages are to be told, as lines of JSON, numbered from 0 on. The latest are kept up to a
// bound of bytes, the same for all pages together: a page that reads slowly costs nothing, and
// finds that lines are gone when it asks for the next one.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>

namespace scope {

// From any thread.
class Backlog {
 public:
  explicit Backlog(std::size_t mostBytes) : mostBytes_(mostBytes) {}

  struct Line {
    std::uint64_t number = 0;
    // How many values there were before this line's, since the session began: the gap between two
    // lines tells how many a page has missed.
    std::uint64_t values = 0;
    std::shared_ptr<const std::string> text;  // ended by a line feed; null: none came in time
  };

  // A line with so many values.
  void add(std::string text, std::uint64_t values);

  // The line with that number, or the first one behind it that is still there. Waits so long for
  // it. Null as well once there will be no more: see hasEnded().
  Line get(std::uint64_t number, std::chrono::milliseconds patience) const;

  // Nothing more is added.
  void end();
  bool hasEnded() const;
  std::uint64_t next() const;  // the number of the line that is added next

 private:
  struct Kept {
    std::uint64_t values = 0;
    std::shared_ptr<const std::string> text;
  };

  const std::size_t mostBytes_;
  mutable std::mutex mutex_;
  mutable std::condition_variable didAdd_;
  std::deque<Kept> kept_;
  std::uint64_t first_ = 0;  // the number of the first one kept
  std::uint64_t values_ = 0;
  std::size_t bytes_ = 0;
  bool hasEnded_ = false;
};

}  // namespace scope
