// A bluetoothd that is played, with the devices of Devices.h to connect to and a crowd of other
// advertisers. It tells of more devices than emulated controllers could, at a rate that is known.
//
// Control lines on standard input:
//   probe                  the probe is heard of, which a scan alone does not find
//   stream RATE COUNT      that many values of each device that is subscribed, RATE per second
//   appear RATE COUNT      that many advertisers are heard of first, RATE per second
//   again RATE COUNT       that many reports of advertisers that are known, in turn
// The last three may run at the same time. On standard output, one line each: ready; subscribed
// (one device's stream); done (nothing runs any more); failed. It ends with its input.
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <deque>

#include "Crowd.h"
#include "FakeBluez.h"
#include "PlayedDevice.h"
#include "Series.h"
#include "lab/Text.h"
#include "lab/program/LineReader.h"

namespace {

using bench::Clock;
using bench::Series;

const std::string kAdapter = "/org/bluez/hci0";

// What is later than this was not held up in the machine: an idle machine whose host is busy finds
// that time has jumped. Going on from there keeps values from coming all at once.
constexpr auto kLongestDelay = std::chrono::milliseconds(2);

void tell(const std::string& event) {
  std::printf("%s\n", event.c_str());
  std::fflush(stdout);
}

class Player {
 public:
  Player() {
    bluez_.objects[kAdapter] = {{"org.bluez.Adapter1", {{"Powered", true}}}};
    for (std::size_t place = 0; place < bench::kDevices.size(); ++place) {
      series_.push_back(&devices_.emplace_back(bluez_, place, [] { tell("subscribed"); }).values());
    }
    bluez_.on(kAdapter, "StartDiscovery", [this](auto call) {
      bluez_.reply(*call);
      for (std::size_t place = 0; place < bench::kProbe; ++place) devices_[place].appear();
    });
    tell("ready");
  }

  // Until standard input ends.
  void run() {
    lab::LineReader input(STDIN_FILENO);
    while (!input.isAtEnd()) {
      bluez_.serve();
      if (input.isReady()) {
        for (const std::string& line : input.read()) obey(line);
      }
      advance();
      wait();
    }
  }

 private:
  bool isAtWork() const { return std::ranges::any_of(series_, &Series::isRunning); }

  void advance() {
    if (!isAtWork()) return;
    const Clock::time_point now = Clock::now();
    if (now - nextDue() > kLongestDelay) postpone(now - nextDue());
    for (Series* series : series_) series->advance(now);
    if (!isAtWork()) tell("done");
  }

  Clock::time_point nextDue() const {
    Clock::time_point due = Clock::time_point::max();
    for (const Series* series : series_) {
      if (series->isRunning()) due = std::min(due, series->dueAt());
    }
    return due;
  }

  // All alike, so that they keep the distances between them.
  void postpone(Clock::duration time) {
    for (Series* series : series_) series->postpone(time);
  }

  void wait() {
    const Clock::time_point now = Clock::now();
    const Clock::time_point due = std::min(nextDue(), now + std::chrono::hours(1));
    const auto left = std::max<Clock::duration>(due - now, Clock::duration::zero());
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
    const timespec timeout{seconds.count(), (left - seconds).count()};
    const auto events = static_cast<short>(std::max(0, sd_bus_get_events(bluez_.bus())));
    pollfd wanted[]{{sd_bus_get_fd(bluez_.bus()), events, 0}, {STDIN_FILENO, POLLIN, 0}};
    ::ppoll(wanted, 2, &timeout, nullptr);
  }

  void obey(const std::string& line) {
    if (line == "probe") return devices_[bench::kProbe].appear();
    const auto [verb, arguments] = lab::splitAt(line, ' ');
    const auto [rateText, countText] = lab::splitAt(arguments, ' ');
    const unsigned rate = lab::toNumber(rateText).value_or(0);
    const unsigned count = lab::toNumber(countText).value_or(0);
    if (rate > 0 && count > 0 && start(verb, rate, count)) return;
    tell("failed: not understood: " + line);
  }

  bool start(std::string_view verb, unsigned rate, unsigned count) {
    if (verb == "stream") {
      stream(rate, count);
    } else if (verb == "appear") {
      known_ = count;
      firsts_.start(rate, count);
    } else if (verb == "again" && known_ > 0) {
      reports_.start(rate, count);
    } else {
      return false;
    }
    return true;
  }

  // Evenly spread, no two devices' values at one time.
  void stream(unsigned rate, unsigned count) {
    const auto isSubscribed = [](const auto& device) { return device.isSubscribed(); };
    const auto streaming = std::ranges::count_if(devices_, isSubscribed);
    Clock::duration delay{};
    for (auto& device : devices_) {
      if (!isSubscribed(device)) continue;
      device.values().start(rate, count, delay);
      delay += Clock::duration(std::chrono::seconds(1)) / rate / streaming;
    }
  }

  bluez_tests::FakeBluez bluez_;
  bench::Crowd crowd_{bluez_.bus()};
  std::deque<bench::PlayedDevice> devices_;  // as kDevices
  unsigned known_ = 0;
  Series firsts_{[this](unsigned number) { crowd_.tellFirst(number - 1); }};
  Series reports_{[this](unsigned number) { crowd_.tellAgain((number - 1) % known_); }};
  std::vector<Series*> series_{&firsts_, &reports_};  // and those of the devices
};

}  // namespace

int main() {
  Player().run();
}
