// Records what the code under test does, in order: every line that it writes to standard output,
// and every call that it makes on the recording platform.
//
// While a journal exists, standard output goes into it, byte for byte. Lines and calls go into one
// unnamed file, which a child process shares: a death test can look afterwards at what the child
// did. One journal at a time; any thread may write to it.
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

  // The whole content, byte for byte.
  std::string bytes() const;

  // The whole content, line by line. A well-formed time stamp is replaced by "time":
  // "<@time : Stop Scan>".
  std::vector<std::string> entries() const;

  // Returns the entries and clears the journal.
  std::vector<std::string> take();

  void clear();

 private:
  int file_;
};

// The test framework also reports on standard output. Between these two calls its reports go to the
// real one. Without a journal the calls do nothing.
void suspendJournal();
void resumeJournal();

}  // namespace unit
