#include "scope/watch/Watch.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>
#include <mutex>
#include <optional>
#include <string_view>
#include <thread>

#include "scope/Clock.h"
#include "scope/pass/Tap.h"
#include "scope/record/Lines.h"
#include "scope/record/Recorder.h"
#include "scope/server/Guard.h"
#include "scope/server/Server.h"
#include "scope/watch/Backlog.h"
#include "scope/watch/Batch.h"
#include "scope/watch/Json.h"
#include "scope/watch/State.h"
#include "vornix_host.h"

namespace scope {
namespace {

namespace host = vornix_host;
using namespace std::chrono_literals;

constexpr int kTick = 50;             // milliseconds
constexpr Time kBatchEvery = 50'000;  // microseconds
constexpr Time kStateEvery = 250'000;
constexpr Time kQuietStateEvery = 1'000'000;
// For a page that is opened late, or slow: some minutes of 2,000 motions a second.
constexpr std::size_t kMostKept = std::size_t{32} << 20U;
constexpr int kNice = 5;
constexpr auto kFarewell = 3s;
constexpr auto kAfterword = 60s;

void complain(const std::string& what) {
  std::fprintf(stderr, "vornix-scope: %s\n", what.c_str());
}

class Watch {
 public:
  Watch(const WatchOptions& options, WatchEnds ends)
      : options_(options), ends_(std::move(ends)), tap_(std::move(ends_.tap)) {
    if (::fcntl(ends_.commands.get(), F_SETFL, O_NONBLOCK) != 0) complain("no commands");
    startRecorder();
    startServer();
  }

  void run() {
    const auto take = [this](const Piece& piece) { lines_.add(piece); };
    while (tap_.read(kTick, take)) publishWhenDue();
    lines_.finish(sessionTime());
    if (!state_.ending()) {
      // The pass-through was killed, and the bridge with it.
      takeOther({Kind::end, sessionTime(), "signal 9"});
    }
    if (recorder_) recorder_->finish();
    checkRecorder();
    recorder_.reset();  // the next session may be recorded to the same file
    ends_.done.close();
    publish(true);
    backlog_.end();
    if (server_) sayFarewell(*server_);
  }

 private:
  void startRecorder() {
    if (options_.record.empty()) return;
    try {
      recorder_.emplace(options_.record, options_.command, options_.rotateAt);
    } catch (const std::exception& error) {
      recording_.path = options_.record;
      recording_.failure = error.what();
      complain(std::string("nothing is recorded: ") + error.what());
    }
  }

  void startServer() {
    try {
      ServerSetup setup;
      setup.port = options_.port;
      setup.secret = makeSecret();
      setup.isReadOnly = options_.isReadOnly;
      setup.backlog = &backlog_;
      setup.document = [this] { return document(); };
      setup.command = [this](const std::string& line) { return send(line); };
      const std::string secret = setup.secret;
      server_.emplace(std::move(setup));
      tellAddress("http://127.0.0.1:" + std::to_string(server_->port()) + "/#" + secret);
    } catch (const std::exception& error) {
      complain(error.what());
    }
  }

  void tellAddress(const std::string& address) const {
    complain("watch at " + address);
    if (options_.addressFile.empty()) return;
    // Written beside and renamed: whoever waits for it finds it whole. Nobody else may read it.
    const std::string beside = options_.addressFile + ".new";
    ::unlink(beside.c_str());
    const Descriptor file(::open(beside.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!file.isOpen() || !writeAll(file.get(), address + '\n') ||
        ::rename(beside.c_str(), options_.addressFile.c_str()) != 0) {
      complain("the address cannot be written to " + options_.addressFile);
    }
  }

  void takeOutput(const Piece& piece, const host::Line& line) {
    if (recorder_) recorder_->add(piece);
    const host::Message message = host::decode(line);
    {
      const std::lock_guard lock(mutex_);
      state_.add(piece.time, message);
      if (const auto* document = std::get_if<host::FenwixJson>(&message)) {
        document_ = document->text;
        ++documents_;
      }
    }
    batch_.add(piece.time, message);
    if (batch_.isFull()) publish(false);
  }

  void takeOther(const Piece& piece) {
    if (recorder_) recorder_->add(piece);
    {
      const std::lock_guard lock(mutex_);
      state_.add(piece);
    }
    batch_.add(piece);
  }

  void publishWhenDue() {
    const Time now = sessionTime();
    if (now - batchAt_ < kBatchEvery) return;
    checkRecorder();
    const bool isNews = state_.changes() != changes_;
    const Time stateEvery = batch_.isEmpty() && !isNews ? kQuietStateEvery : kStateEvery;
    const bool isStateDue = now - stateAt_ >= stateEvery;
    if (!batch_.isEmpty() || isStateDue || isNews) publish(isStateDue || isNews);
  }

  void publish(bool withState) {
    const Time now = sessionTime();
    batchAt_ = now;
    const std::uint64_t values = batch_.values();
    std::string line = "\"at\":" + std::to_string(now) + ",\"values\":" + std::to_string(values);
    if (const std::string members = batch_.take(); !members.empty()) (line += ',') += members;
    if (withState) {
      stateAt_ = now;
      changes_ = state_.changes();
      (line += ",\"state\":") += state_.toJson();
      (line += ",\"session\":") += session();
    }
    backlog_.add(line += '}', values);
  }

  std::string session() const {
    std::string json = "{";
    json::member(json, "begin", begin_);
    std::string command;
    for (const std::string& word : options_.command)
      (command += command.empty() ? "" : " ") += word;
    json::member(json, "command", std::string_view(command));
    json::member(json, "isReadOnly", options_.isReadOnly);
    json::member(json, "documents", documents_);
    json::member(json, "record", std::string_view(recording_.path));
    json::member(json, "recordSize", recording_.size);
    json::member(json, "recordMissed", recording_.missed);
    json::member(json, "recordFailure", std::string_view(recording_.failure));
    return json += '}';
  }

  // A recording that ends before the session is told of at once, on the page and to who started it.
  void checkRecorder() {
    if (!recorder_) return;
    const bool failedBefore = !recording_.failure.empty();
    recording_ = recorder_->state();
    if (failedBefore || recording_.failure.empty()) return;
    complain("the recording has ended: " + recording_.failure);
    stateAt_ = 0;
  }

  std::string document() {
    const std::lock_guard lock(mutex_);
    return document_;
  }

  bool send(std::string line) {
    {
      const std::lock_guard lock(mutex_);
      if (!state_.isSafe(line)) return false;
    }
    line += '\n';
    // Short enough to be written whole or not at all.
    return ::write(ends_.commands.get(), line.data(), line.size()) ==
           static_cast<ssize_t>(line.size());
  }

  static void sayFarewell(const Server& server) {
    // Whoever has the address on a terminal may open it only now, to see why the bridge has ended.
    const auto patience =
        ::isatty(STDERR_FILENO) != 0 && !server.hadPages() ? kAfterword : kFarewell;
    // Whoever started the scope may read its standard error to the end.
    ::close(STDERR_FILENO);
    // A command that has ended the bridge is answered as the others are.
    const auto isWaiting = [&] {
      return server.pages() > 0 || server.isAnswering() || !server.hadPages();
    };
    for (auto waited = 0ms; isWaiting() && waited < patience; waited += 50ms) {
      std::this_thread::sleep_for(50ms);
    }
  }

  const WatchOptions& options_;
  WatchEnds ends_;
  TapReader tap_;
  Lines lines_{[this](const Piece& piece, const host::Line& line) { takeOutput(piece, line); },
               [this](const Piece& piece) { takeOther(piece); }};
  std::optional<Recorder> recorder_;
  RecordingState recording_;

  std::mutex mutex_;  // of what the server's threads ask for
  State state_;
  std::string document_;
  std::uint64_t documents_ = 0;

  const Time begin_ = wallTime() - sessionTime();
  Batch batch_;
  Time batchAt_ = 0;
  Time stateAt_ = 0;
  std::uint64_t changes_ = 0;
  Backlog backlog_{kMostKept};
  std::optional<Server> server_;
};

}  // namespace

void runWatch(const WatchOptions& options, WatchEnds ends) {
  // Signals of the terminal, and those sent to the bridge's process group, are not for this one: it
  // ends with the session, when the recording is complete.
  ::setsid();
  for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGPIPE, SIGXFSZ}) {
    ::signal(signal, SIG_IGN);
  }
  // The host is to see the end of its pipes when the bridge ends, and no later.
  const int nothing = ::open("/dev/null", O_RDWR | O_CLOEXEC);
  ::dup2(nothing, STDIN_FILENO);
  ::dup2(nothing, STDOUT_FILENO);
  if (::nice(kNice) == -1) complain("runs as urgently as the bridge");
  // Not destroyed: the server's threads use it until the process ends.
  (new Watch(options, std::move(ends)))->run();
  ::_exit(0);
}

}  // namespace scope
