// A bluetoothd that is played, with one Tramsel to connect to and a crowd of other advertisers. It
// tells of more devices than emulated controllers could, at a rate that is known.
//
// Control lines on standard input, which may run at the same time:
//   stream RATE COUNT      that many values of the Tramsel, RATE per second (Stamp.h)
//   appear RATE COUNT      that many advertisers are heard of first, RATE per second
//   again RATE COUNT       that many reports of advertisers that are known, in turn
// On standard output, one line each: ready, subscribed, streamed, appeared, told. It ends with its
// input.
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "Crowd.h"
#include "FakeBluez.h"
#include "Stamp.h"
#include "lab/Text.h"
#include "lab/program/LineReader.h"

namespace {

using bench::Clock;

const std::string kAdapter = "/org/bluez/hci0";
const std::string kDevice = kAdapter + "/dev_C0_00_00_FF_FF_01";
const std::string kService = kDevice + "/service0001";
const std::string kCharacteristic = kService + "/char0002";
constexpr char kDeviceInterface[] = "org.bluez.Device1";

void tell(const char* event) {
  std::printf("%s\n", event);
  std::fflush(stdout);
}

// What is later than this was not held up in the machine: an idle machine whose host is busy finds
// that time has jumped. Going on from there keeps values from coming all at once.
constexpr auto kLongestDelay = std::chrono::milliseconds(5);

// Something that is done a number of times at a steady rate.
class Series {
 public:
  Series(const char* atEnd, std::function<void(unsigned number)> once)
      : atEnd_(atEnd), once_(std::move(once)) {}

  void start(unsigned perSecond, unsigned count) {
    perSecond_ = perSecond;
    count_ = count;
    done_ = 0;
    start_ = Clock::now();
  }
  bool isRunning() const { return done_ < count_; }
  Clock::time_point dueAt() const {
    return start_ + std::chrono::nanoseconds(std::int64_t{done_} * 1'000'000'000 / perSecond_);
  }
  void advance(Clock::time_point now) {
    if (isRunning() && now - dueAt() > kLongestDelay) start_ += now - dueAt();
    while (isRunning() && dueAt() <= now) {
      once_(++done_);
      if (!isRunning()) tell(atEnd_);
    }
  }

 private:
  const char* atEnd_;
  std::function<void(unsigned)> once_;
  unsigned perSecond_ = 1;
  unsigned count_ = 0;
  unsigned done_ = 0;
  Clock::time_point start_;
};

class Player {
 public:
  Player() {
    bluez_.objects[kAdapter] = {{"org.bluez.Adapter1", {{"Powered", true}}}};
    bluez_.objects[kDevice] = {
        {kDeviceInterface,
         {{"Name", std::string("Tramsel-1")}, {"Connected", false}, {"ServicesResolved", false}}}};
    bluez_.on(kAdapter, "StartDiscovery", [this](auto call) {
      bluez_.reply(*call);
      bluez_.signalChange(kDevice, kDeviceInterface, {{"RSSI", std::int16_t{-50}}});
    });
    bluez_.on(kDevice, "Connect", [this](auto call) {
      connect();
      bluez_.reply(*call);
    });
    bluez_.on(kCharacteristic, "AcquireNotify", [this](auto call) {
      socket_ = bluez_.replySocket(*call);
      send(0);
      tell("subscribed");
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
      for (Series* series : all()) series->advance(Clock::now());
      wait();
    }
  }

 private:
  std::array<Series*, 3> all() { return {&values_, &firsts_, &reports_}; }

  void connect() {
    bluez_.change(kDevice, kDeviceInterface, {{"Connected", true}});
    bluez_.add(
        kService,
        {{"org.bluez.GattService1",
          {{"UUID", std::string("ef680400-9b35-4933-9b10-52ffa9740042")}, {"Primary", true}}}});
    bluez_.add(kCharacteristic,
               {{"org.bluez.GattCharacteristic1",
                 {{"UUID", std::string("ef680408-9b35-4933-9b10-52ffa9740042")}}}});
    bluez_.change(kDevice, kDeviceInterface, {{"ServicesResolved", true}});
  }

  void wait() {
    Clock::time_point due = Clock::now() + std::chrono::hours(1);
    for (const Series* series : all()) {
      if (series->isRunning()) due = std::min(due, series->dueAt());
    }
    const auto left = std::max<Clock::duration>(due - Clock::now(), Clock::duration::zero());
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
    const timespec timeout{seconds.count(), (left - seconds).count()};
    const auto events = static_cast<short>(std::max(0, sd_bus_get_events(bluez_.bus())));
    pollfd wanted[]{{sd_bus_get_fd(bluez_.bus()), events, 0}, {STDIN_FILENO, POLLIN, 0}};
    ::ppoll(wanted, 2, &timeout, nullptr);
  }

  void obey(const std::string& line) {
    const auto [verb, arguments] = lab::splitAt(line, ' ');
    const auto [rate, count] = lab::splitAt(arguments, ' ');
    Series* series = verb == "stream" ? &values_ : verb == "appear" ? &firsts_ : &reports_;
    series->start(lab::toNumber(rate).value_or(1), lab::toNumber(count).value_or(0));
    if (verb == "appear") known_ = std::max(1U, lab::toNumber(count).value_or(0));
  }

  void send(unsigned number) const {
    const auto bytes = bench::Stamp::now(number).bytes();
    ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
  }

  bluez_tests::FakeBluez bluez_;
  bench::Crowd crowd_{bluez_.bus()};
  int socket_ = -1;
  unsigned known_ = 1;
  Series values_{"streamed", [this](unsigned number) { send(number); }};
  Series firsts_{"appeared", [this](unsigned number) { crowd_.tellFirst(number - 1); }};
  Series reports_{"told", [this](unsigned number) { crowd_.tellAgain((number - 1) % known_); }};
};

}  // namespace

int main() {
  Player().run();
}
