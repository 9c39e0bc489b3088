// Writes a session to a file, on a thread of its own: whoever records does not wait for the disk.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "scope/Piece.h"
#include "scope/record/RecordFile.h"

namespace scope {

struct RecordingState {
  std::string path;
  std::uint64_t size = 0;    // bytes of the file
  std::uint64_t missed = 0;  // bytes that the disk was too slow for
  std::string failure;       // why the recording has ended before the session; empty: it has not
};

class Recorder {
 public:
  // Begins a session in the file. Throws as RecordFile does. A file that is as long as `rotateAt`
  // is given another name and begun anew; 0: never.
  Recorder(const std::string& path, const std::vector<std::string>& command,
           std::uint64_t rotateAt);
  Recorder(const Recorder&) = delete;
  Recorder& operator=(const Recorder&) = delete;
  ~Recorder() { finish(); }

  // Of one thread. The piece is in the file within a tenth of a second and on the disk within half
  // a second, unless the disk fails: then the recording ends with whole records.
  void add(const Piece& piece);

  // Returns when all is on the disk.
  void finish();

  RecordingState state() const;  // from any thread

 private:
  void run();
  void writeOut(const std::string& records);

  const std::string session_;  // the record that each file begins with
  const std::uint64_t rotateAt_;
  RecordFile file_;

  mutable std::mutex mutex_;
  std::condition_variable isFinishing_;
  std::string waiting_;
  std::uint64_t missedNow_ = 0;  // and not yet in the file
  Time lastTime_ = 0;
  bool finishes_ = false;
  RecordingState state_;
  std::thread thread_;
};

}  // namespace scope
