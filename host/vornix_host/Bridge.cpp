#include "Bridge.h"

#include <poll.h>

#include <array>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

#include "Decode.h"
#include "LineReader.h"
#include "Recipe.h"
#include "detail/Child.h"
#include "detail/Life.h"

namespace vornix_host {
namespace {

using namespace std::chrono_literals;
using Milliseconds = std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr Milliseconds kLongestDrain = 5s;  // in case a stream never falls silent
constexpr Milliseconds kPatience = 5s;      // that a bridge may take to end

}  // namespace

// Runs the bridge on one thread, which sleeps in poll().
class Bridge::Loop {
 public:
  explicit Loop(Options options)
      : options_(std::move(options)), recipe_(options_.shortestPause), wake_(detail::Pipe::make()) {
    for (const detail::Descriptor* end : {&wake_.reading, &wake_.writing}) {
      ::fcntl(end->number(), F_SETFL, ::fcntl(end->number(), F_GETFL) | O_NONBLOCK);
    }
    start();
    thread_ = std::thread([this] { run(); });
  }

  ~Loop() {
    close();
    thread_.join();
  }

  std::optional<Event> next(std::optional<Milliseconds> time) {
    std::unique_lock lock(mutex_);
    const auto isThere = [this] { return !events_.empty() || isOver_; };
    if (time) {
      changed_.wait_for(lock, *time, isThere);
    } else {
      changed_.wait(lock, isThere);
    }
    if (events_.empty()) return std::nullopt;
    Event event = std::move(events_.front());
    events_.pop_front();
    return event;
  }

  void send(std::string_view line) {
    checkCommand(line);
    const Command* const command = commandOf(line);
    const std::lock_guard lock(mutex_);
    if (asksNoDocument_ && asksForDocument(line)) {
      throw CommandError("a document was damaged, and none is asked for any more");
    }
    if (command != nullptr && recipe_.isAvoided(*command)) {
      throw CommandError(std::string(line) + " has ended the bridge twice");
    }
    waiting_.emplace_back(line);
    wake();
  }

  void close() {
    std::unique_lock lock(mutex_);
    isClosing_ = true;
    wake();
    changed_.wait(lock, [this] { return isOver_; });
  }

 private:
  enum class Ending { no, draining, killed, inputClosed, forced };

  void wake() const { (void)!::write(wake_.writing.number(), "", 1); }

  // The thread

  void run() {
    // Writing to a bridge that has ended gives EPIPE; SIGPIPE, which comes with it, must not reach
    // the host.
    sigset_t pipe;
    ::sigemptyset(&pipe);
    ::sigaddset(&pipe, SIGPIPE);
    ::pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
    while (child_ || beginAgain()) turn();
    const std::lock_guard lock(mutex_);
    isOver_ = true;
    changed_.notify_all();
  }

  void turn() {
    std::array<pollfd, 3> sources{{{wake_.reading.number(), POLLIN, 0},
                                   {child_->output(), POLLIN, 0},
                                   {unwritten_.empty() ? -1 : child_->input(), POLLOUT, 0}}};
    ::poll(sources.data(), sources.size(), ending_ == Ending::no ? 100 : 5);
    emptyWakeUps();
    takeCommands();
    if (sources[2].revents != 0) write();
    const bool isOutput = sources[1].revents != 0;
    if (isOutput && !read()) return ended();
    lookForLosses();
    goOnEnding();
  }

  void emptyWakeUps() const {
    std::array<char, 64> bytes;
    while (::read(wake_.reading.number(), bytes.data(), bytes.size()) > 0) {
    }
  }

  void start() {
    child_ = std::make_unique<detail::Child>(options_.command);
    reader_ = LineReader();
    life_ = detail::Life();
    unwritten_.clear();
    ending_ = Ending::no;
    isLoss_ = false;
    started_ = lastRead_ = Clock::now();
    tell(Started{++starts_});
  }

  // False at the end of the output.
  bool read() {
    std::array<char, 65536> bytes;
    const ssize_t size = ::read(child_->output(), bytes.data(), bytes.size());
    if (size < 0) return errno == EAGAIN || errno == EINTR;
    lastRead_ = Clock::now();
    const auto wall = std::chrono::system_clock::now();
    reader_.feed(std::string_view(bytes.data(), static_cast<std::size_t>(size)));
    if (size == 0) reader_.finish();
    while (const auto line = reader_.next()) take(decode(*line), wall);
    return size > 0;
  }

  void take(Message message, std::chrono::system_clock::time_point wall) {
    if (!life_.whyDistrusted.empty()) return;
    const std::string radio = life_.radio;
    const std::size_t losses = life_.lostDevices.size();
    const auto* const document = std::get_if<FenwixJson>(&message);
    const bool isUnasked = document != nullptr && !life_.awaitsDocument();
    life_.note(message, lastRead_);
    if (isUnasked) message = UnknownMessage{"PJSON;" + document->text + ";"};
    add({std::move(message), lastRead_, wall});
    if (!life_.whyDistrusted.empty()) {
      add({Event::Own(TrustLost{life_.whyDistrusted}), lastRead_, wall});
      askForNoDocument();
    }
    if (life_.radio != radio) add({Event::Own(RadioChanged{life_.radio}), lastRead_, wall});
    if (life_.lostDevices.size() > losses) {
      add({Event::Own(DeviceLost{life_.lostDevices.back()}), lastRead_, wall});
    }
  }

  void askForNoDocument() {
    const std::lock_guard lock(mutex_);
    asksNoDocument_ = true;
    std::erase_if(waiting_, [](const std::string& line) { return asksForDocument(line); });
  }

  // Sends the lines whose device is ready to the bridge, in order; the others go on waiting.
  void takeCommands() {
    const std::lock_guard lock(mutex_);
    std::deque<std::string> staying;
    for (std::string& line : waiting_) {
      const Command* const command = commandOf(line);
      if (command != nullptr && command->word == "kill") {
        isClosing_ = true;
      } else if (ending_ != Ending::no || (command != nullptr && !mayGo(*command))) {
        staying.push_back(std::move(line));
      } else {
        if (command != nullptr) life_.noteSent(*command, line);
        unwritten_ += line + '\n';
      }
    }
    waiting_ = std::move(staying);
  }

  bool mayGo(const Command& command) const {
    return life_.isReady(command.needs) && !life_.isHeldUp(command);
  }

  void write() {
    const ssize_t size = ::write(child_->input(), unwritten_.data(), unwritten_.size());
    if (size > 0) unwritten_.erase(0, static_cast<std::size_t>(size));
    if (size < 0 && errno != EAGAIN && errno != EINTR) unwritten_.clear();  // it has ended
  }

  void lookForLosses() {
    bool isLost = life_.hasLost();
    for (std::string& stream : life_.lost(Clock::now(), options_.silence)) {
      tell(StreamLost{std::move(stream)});
      isLost = true;
    }
    const bool isReason = (isLost && options_.restartOnLoss) || !life_.whyDistrusted.empty();
    if (!isReason || ending_ != Ending::no) return;
    isLoss_ = true;
    beginEnding();
  }

  void beginEnding() {
    for (const std::string_view stop : life_.stops()) unwritten_ += std::string(stop) + '\n';
    ending_ = Ending::draining;
    endingSince_ = Clock::now();
  }

  void goOnEnding() {
    if (ending_ == Ending::no && isClosing()) beginEnding();
    const auto now = Clock::now();
    const auto waited = now - endingSince_;
    if (ending_ == Ending::draining) {
      const bool isSilent = now - std::max(lastRead_, endingSince_) >= options_.drained;
      if (!isSilent && waited < kLongestDrain) return;
      unwritten_ += "kill\n";
      nextEnding(Ending::killed);
    } else if (ending_ == Ending::killed && waited >= kPatience) {
      child_->closeInput();
      unwritten_.clear();
      nextEnding(Ending::inputClosed);
    } else if (ending_ == Ending::inputClosed && waited >= kPatience) {
      child_->kill();
      nextEnding(Ending::forced);
    }
  }

  void nextEnding(Ending ending) {
    ending_ = ending;
    endingSince_ = Clock::now();
  }

  bool isClosing() {
    const std::lock_guard lock(mutex_);
    return isClosing_;
  }

  void ended() {
    const int status = child_->wait();
    child_.reset();
    tell(Ended{status});
    const auto lived = std::chrono::duration_cast<Milliseconds>(Clock::now() - started_);
    const std::lock_guard lock(mutex_);  // send() reads the recipe on other threads
    const bool isLoss = isLoss_ || !life_.whyDistrusted.empty();
    verdict_ = recipe_.after({status, lived, life_.lastLog, life_.whyRadioUnusable, isLoss});
    std::erase_if(waiting_, [this](const std::string& line) {
      const Command* const command = commandOf(line);
      return command != nullptr && recipe_.isAvoided(*command);
    });
    if (verdict_.pause && !options_.restart) {
      const std::string why = "the bridge has ended with " + std::to_string(status);
      verdict_ = {std::nullopt, life_.whyDistrusted.empty() ? why : life_.whyDistrusted};
    }
  }

  // False when it is over.
  bool beginAgain() {
    if (isClosing()) return false;
    if (!verdict_.pause) return giveUp(verdict_.why);
    tell(Restarting{*verdict_.pause});
    const auto end = Clock::now() + *verdict_.pause;
    while (!isClosing() && Clock::now() < end) {
      pollfd source{wake_.reading.number(), POLLIN, 0};
      const auto rest = std::chrono::ceil<Milliseconds>(end - Clock::now());
      ::poll(&source, 1, static_cast<int>(std::max<Milliseconds::rep>(rest.count(), 0)));
      emptyWakeUps();
    }
    if (isClosing()) return false;
    try {
      start();
    } catch (const std::system_error& error) {
      return giveUp(error.what());
    }
    return true;
  }

  bool giveUp(std::string why) {
    tell(GivenUp{std::move(why)});
    return false;
  }

  void tell(Event::Own what) {
    add({std::move(what), Clock::now(), std::chrono::system_clock::now()});
  }

  void add(Event event) {
    const std::lock_guard lock(mutex_);
    events_.push_back(std::move(event));
    changed_.notify_one();
  }

  const Options options_;
  Recipe recipe_;
  detail::Pipe wake_;
  std::thread thread_;

  // For the loop's thread alone.
  std::unique_ptr<detail::Child> child_;
  LineReader reader_;
  detail::Life life_;
  std::string unwritten_;
  Verdict verdict_;
  Ending ending_ = Ending::no;
  Clock::time_point started_, lastRead_, endingSince_;
  bool isLoss_ = false;
  int starts_ = 0;

  // Shared between threads, guarded by the mutex.
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Event> events_;
  std::deque<std::string> waiting_;
  bool asksNoDocument_ = false;
  bool isClosing_ = false;
  bool isOver_ = false;
};

Bridge::Bridge(Options options) : loop_(std::make_unique<Loop>(std::move(options))) {}

Bridge::~Bridge() = default;

std::optional<Event> Bridge::next() {
  return loop_->next(std::nullopt);
}

std::optional<Event> Bridge::nextWithin(std::chrono::milliseconds time) {
  return loop_->next(time);
}

void Bridge::send(std::string_view line) {
  loop_->send(line);
}

void Bridge::close() {
  loop_->close();
}

}  // namespace vornix_host
