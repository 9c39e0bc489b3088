// Runs the model of bluetoothd with the devices of Devices.h and a crowd of other advertisers. It
// reports more devices than emulated controllers could, and at a known rate.
//
// Control lines on standard input:
//   probe                  lets the probe advertise, which a scan alone does not
//   stream RATE COUNT      COUNT values of each subscribed device, RATE per second
//   appear RATE COUNT      COUNT new advertisers, RATE per second: those that are known from now on
//   again RATE COUNT       COUNT reports of known advertisers in turn, RATE per second
//   join RATE COUNT        COUNT more that are new, RATE per second
// One of each may run at the same time, but not appear with join. On standard output, one line
// each: ready; subscribed (one device's stream); done (nothing is running any more); failed. It
// ends with its input.
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <deque>

#include "PlayedDevice.h"
#include "Series.h"
#include "lab/Text.h"
#include "lab/program/LineReader.h"

namespace {

using bench::Clock;
using bench::Series;
using lab::Microseconds;
using namespace std::chrono_literals;

const std::string kAdapter = "/org/bluez/hci0";
constexpr Microseconds kAdvertisingInterval = 1s;

// A longer delay was not caused within the machine: the time of an idle machine jumps when its host
// is busy. The series then goes on from the new time, so that values do not come all at once.
constexpr auto kLongestDelay = 2ms;

void tell(const std::string& event) {
  std::printf("%s\n", event.c_str());
  std::fflush(stdout);
}

// An address of the range of static random addresses.
std::string keyOf(unsigned advertiser) {
  std::array<char, 24> text;
  std::snprintf(text.data(), text.size(), "dev_C0_00_00_%02X_%02X_%02X", advertiser >> 16U & 0xFFU,
                advertiser >> 8U & 0xFFU, advertiser & 0xFFU);
  return text.data();
}

class Player final : private lab::Witness {
 public:
  Player() {
    bluetoothd_.plug(kAdapter, true);
    bluetoothd_.start();
    // So that advertisers are reported also when the client has ended its scan.
    bluetoothd_.discoverForAnother(kAdapter, true);
    for (std::size_t place = 0; place < bench::kDevices.size(); ++place) {
      series_.push_back(&devices_.emplace_back(bluetoothd_, place).values());
    }
    advertise();
    tell("ready");
  }

  // Runs until standard input ends.
  void run() {
    lab::LineReader input(STDIN_FILENO);
    while (!input.isAtEnd()) {
      letTimePass();
      if (bus_.hasClient()) bus_.serve();
      if (input.isReady()) {
        for (const std::string& line : input.read()) obey(line);
      }
      advance();
      wait();
    }
  }

 private:
  Fate fateOf(lab::StackDevice&, std::string_view, std::string_view) override {
    return Fate::serve;
  }
  // The first three devices advertise once somebody scans, the probe on its control line.
  void didAsk(const std::string& /*path*/, const std::string& member) override {
    if (member != "StartDiscovery") return;
    for (std::size_t place = 0; place < bench::kProbe; ++place) devices_[place].appear();
  }
  void didAnswerSubscription(lab::StackDevice& remote, std::string_view uuid,
                             bool isMade) override {
    for (const auto& device : devices_) {
      if (&device.remote() == &remote && device.isStream(uuid) && isMade) tell("subscribed");
    }
  }

  void advertise() {
    for (const auto& device : devices_) bluetoothd_.hear(device.remote());
    agenda_.after(kAdvertisingInterval, [this] { advertise(); });
  }

  static Microseconds now() {
    return std::chrono::duration_cast<Microseconds>(Clock::now() - kStart);
  }
  void letTimePass() {
    const Microseconds end = now();
    while (agenda_.next() && *agenda_.next() <= end) agenda_.doNext();
    agenda_.passUntil(end);
  }

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

  // Shifts all series by the same time, so that they keep their distances.
  void postpone(Clock::duration time) {
    for (Series* series : series_) series->postpone(time);
  }

  void wait() {
    Clock::time_point due = nextDue();
    if (const auto next = agenda_.next()) due = std::min(due, kStart + *next);
    const auto left = std::max<Clock::duration>(due - Clock::now(), 0ns);
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
    const timespec timeout{seconds.count(), (left - seconds).count()};
    pollfd wanted[]{bus_.wanted(), {STDIN_FILENO, POLLIN, 0}};
    ::ppoll(wanted, 2, &timeout, nullptr);
    if (wanted[0].revents != 0 && !bus_.hasClient()) bus_.accept();
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
      first_ = next_;
      known_ = count;
      firsts_.start(rate, count);
    } else if (verb == "join") {
      firsts_.start(rate, count);
    } else if (verb == "again" && known_ > 0) {
      reports_.start(rate, count);
    } else {
      return false;
    }
    return true;
  }

  // Spreads the devices evenly, so that no two send at the same time.
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

  void pass(unsigned advertiser) {
    bluetoothd_.passBy(kAdapter, keyOf(advertiser), "Beacon " + std::to_string(advertiser));
  }

  static inline const Clock::time_point kStart = Clock::now();

  lab::Agenda agenda_;
  lab::Dice dice_{1};
  lab::MessageBus bus_;
  lab::Bluetoothd bluetoothd_{agenda_, dice_, bus_, *this};
  std::deque<bench::PlayedDevice> devices_;  // indexed like kDevices
  unsigned next_ = 0;                        // the next one that nobody has heard of
  unsigned first_ = 0;                       // of those that are known
  unsigned known_ = 0;
  Series firsts_{[this](unsigned) { pass(next_++); }};
  Series reports_{[this](unsigned number) { pass(first_ + (number - 1) % known_); }};
  std::vector<Series*> series_{&firsts_, &reports_};  // then those of the devices
};

}  // namespace

int main() {
  Player().run();
}
