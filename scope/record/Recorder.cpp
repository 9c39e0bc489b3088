#include "scope/record/Recorder.h"

#include <chrono>
#include <exception>

#include "scope/Clock.h"
#include "scope/record/Format.h"

namespace scope {
namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr auto kWriteEvery = 100ms;
constexpr auto kSyncEvery = 400ms;
// What a slow disk may keep waiting: five minutes of 2,000 motions a second.
constexpr std::size_t kMostWaiting = std::size_t{64} << 20U;

std::string sessionRecord(const std::vector<std::string>& command) {
  std::string words;
  for (const std::string& word : command) (words += word) += '\0';
  std::string record;
  appendRecord(record, {Kind::session, wallTime() - sessionTime(), words});
  return record;
}

}  // namespace

Recorder::Recorder(const std::string& path, const std::vector<std::string>& command,
                   std::uint64_t rotateAt)
    : session_(sessionRecord(command)), rotateAt_(rotateAt), file_(path) {
  file_.append(session_);
  state_.path = path;
  state_.size = file_.size();
  thread_ = std::thread([this] { run(); });
}

void Recorder::add(const Piece& piece) {
  const std::lock_guard lock(mutex_);
  if (!state_.failure.empty()) return;
  lastTime_ = piece.time;
  if (waiting_.size() > kMostWaiting) {
    missedNow_ += piece.bytes.size();
    state_.missed += piece.bytes.size();
    return;
  }
  appendRecord(waiting_, piece);
}

void Recorder::finish() {
  {
    const std::lock_guard lock(mutex_);
    finishes_ = true;
  }
  isFinishing_.notify_all();
  if (thread_.joinable()) thread_.join();
}

RecordingState Recorder::state() const {
  const std::lock_guard lock(mutex_);
  return state_;
}

void Recorder::run() {
  std::string records;
  Clock::time_point synced = Clock::now();
  bool isLast = false;
  try {
    while (!isLast) {
      {
        std::unique_lock lock(mutex_);
        isFinishing_.wait_for(lock, kWriteEvery, [this] { return finishes_; });
        isLast = finishes_;
        records.swap(waiting_);
        if (missedNow_ > 0) {
          appendRecord(records, {Kind::missed, lastTime_, std::to_string(missedNow_)});
        }
        missedNow_ = 0;
      }
      writeOut(records);
      records.clear();
      if (!isLast && Clock::now() - synced < kSyncEvery) continue;
      file_.sync();
      synced = Clock::now();
    }
  } catch (const std::exception& error) {
    const std::lock_guard lock(mutex_);
    state_.failure = error.what();
    state_.size = file_.size();
    waiting_ = {};
  }
}

void Recorder::writeOut(const std::string& records) {
  if (records.empty()) return;
  file_.append(records);
  if (rotateAt_ > 0 && file_.size() >= rotateAt_) {
    file_.rotate();
    file_.append(session_);
  }
  const std::lock_guard lock(mutex_);
  state_.size = file_.size();
}

}  // namespace scope
