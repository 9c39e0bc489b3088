// What the code under test does, in the order in which it does it: every line that it writes to
// standard output, and every call that it makes on the recording platform.
//
// While a journal lives, standard output goes into it, byte for byte. Lines and calls share one
// file without a name, which also keeps what a child process did before it ended: a death test can
// look at it afterwards. One journal at a time; any thread may write to it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace unit {

class Journal {
 public:
  Journal();
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;
  ~Journal();  // gives standard output back

  // Records one call.
  void add(std::string_view call);

  // Everything so far, as it was written.
  std::string bytes() const;

  // Everything so far, line by line. The time stamp of a log line, if it is well formed, reads
  // "time": "<@time : Stop Scan>".
  std::vector<std::string> entries() const;

  // The entries so far, which are then forgotten.
  std::vector<std::string> take();

  void clear();

 private:
  int file_;
};

// The test framework reports on standard output too. Between these two calls its reports go where
// they belong; without a journal they do nothing.
void suspendJournal();
void resumeJournal();

}  // namespace unit
