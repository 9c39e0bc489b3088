// The peripheral of the stack benchmark: a Tramsel on a controller of its own whose values are
// stamped with their number and the time of sending (Stamp.h).
//
//   bench-peripheral INDEX       uses the controller hciINDEX
//
// Control line on standard input: stream RATE COUNT. Sends COUNT values, RATE per second, or for
// RATE 0 as fast as the controller accepts them. On standard output, one line each: ready,
// subscribed, disconnected, streamed (the last value is with the controller), failed. It ends with
// its input.
#include <unistd.h>

#include <cstdio>
#include <string>

#include "Stamp.h"
#include "lab/Text.h"
#include "lab/hci/Peripheral.h"
#include "lab/program/LineReader.h"

namespace {

using lab::AttError;
using lab::CharacteristicIndex;
using lab::Microseconds;

constexpr CharacteristicIndex kMotion = 0;
constexpr std::uint8_t kBatteryLevel = 92;

// A longer delay was not caused within the machine: the time of an idle machine jumps when its host
// is busy. The stream then goes on from the new time, so that values do not come all at once.
constexpr Microseconds kLongestDelay{5000};

class Streamer final : public lab::DeviceModel {
 public:
  std::string name() const override { return "Tramsel-1"; }
  const std::vector<lab::Service>& services() const override { return services_; }

  void connected(lab::Link& link) override { link_ = &link; }
  void disconnected() override {
    link_ = nullptr;
    isGreetingDue_ = false;
    left_ = 0;
  }

  lab::ReadResult read(CharacteristicIndex characteristic) override {
    if (characteristic == kMotion) return AttError::readNotPermitted;
    return lab::Bytes{kBatteryLevel};
  }
  AttError write(CharacteristicIndex, std::span<const std::uint8_t>) override {
    return AttError::writeNotPermitted;
  }
  AttError subscribe(CharacteristicIndex characteristic, bool enabled) override {
    if (characteristic == kMotion) isGreetingDue_ = enabled;
    return AttError::none;
  }

  void stream(std::uint32_t rate, std::uint32_t count) {
    rate_ = rate;
    left_ = count;
    number_ = 0;
    start_.reset();
  }

  std::optional<Microseconds> advance(Microseconds now) override {
    if (isGreetingDue_ && send(0)) isGreetingDue_ = false;
    if (left_ > 0 && !start_) start_ = now;
    if (left_ > 0 && rate_ > 0 && now - dueAt() > kLongestDelay) *start_ += now - dueAt();
    while (left_ > 0) {
      if (dueAt() > now) return dueAt();
      if (!send(number_ + 1)) return std::nullopt;
      ++number_;
      --left_;
    }
    return std::nullopt;
  }

 private:
  Microseconds dueAt() const {
    return rate_ == 0 ? *start_ : *start_ + Microseconds(std::int64_t{number_} * 1'000'000 / rate_);
  }
  bool send(std::uint32_t number) {
    return link_ != nullptr && link_->notify(kMotion, bench::Stamp::now(number).bytes());
  }

  const std::vector<lab::Service> services_{
      {"EF680400-9B35-4933-9B10-52FFA9740042",
       {{.uuid = "EF680408-9B35-4933-9B10-52FFA9740042", .notify = true}}},
      {"180F", {{.uuid = "2A19", .read = true, .notify = true}}}};
  lab::Link* link_ = nullptr;
  bool isGreetingDue_ = false;
  std::uint32_t rate_ = 0;
  std::uint32_t left_ = 0;
  std::uint32_t number_ = 0;
  std::optional<Microseconds> start_;
};

void tell(const std::string& event) {
  std::printf("%s\n", event.c_str());
  std::fflush(stdout);
}

class Events final : public lab::PeripheralObserver {
 public:
  void didStart(const std::string&) override { tell("ready"); }
  void didFail(const std::string& reason) override { tell("failed " + reason); }
  void didAdvertise() override {}
  void didConnect() override {}
  void didDisconnect(std::uint8_t) override { tell("disconnected"); }
  void didTurnAway() override {}
  void didSend(const lab::Uuid&, std::span<const std::uint8_t> value) override {
    const auto stamp = bench::Stamp::of(value);
    if (stamp && last_ != 0 && stamp->number == last_) tell("streamed");
  }
  void didRead(const lab::Uuid&) override {}
  void didWrite(const lab::Uuid&, std::span<const std::uint8_t>) override {}
  void didSubscribe(const lab::Uuid& uuid, bool enabled) override {
    if (enabled && uuid != lab::Uuid(0x2A19)) tell("subscribed");
  }
  void didRefuse(const std::string&) override {}

  void expect(std::uint32_t last) { last_ = last; }

 private:
  std::uint32_t last_ = 0;
};

void obey(const std::string& line, Streamer& streamer, Events& events) {
  const auto [verb, arguments] = lab::splitAt(line, ' ');
  const auto [rate, count] = lab::splitAt(arguments, ' ');
  const auto perSecond = lab::toNumber(rate);
  const auto values = lab::toNumber(count);
  if (verb != "stream" || !perSecond || !values) return tell("failed: not understood: " + line);
  events.expect(*values);
  streamer.stream(*perSecond, *values);
}

}  // namespace

int main(int argc, char** argv) {
  const auto index = lab::toNumber(argc > 1 ? argv[1] : "");
  if (!index) {
    std::fputs("usage: bench-peripheral INDEX\n", stderr);
    return 2;
  }
  int error = 0;
  auto channel = lab::HciChannel::openWhenFree(static_cast<int>(*index), error);
  if (!channel) {
    tell("failed: the controller cannot be had");
    return 1;
  }
  Streamer streamer;
  Events events;
  lab::Peripheral peripheral(std::move(*channel), streamer, events);
  lab::LineReader input(STDIN_FILENO);
  while (!peripheral.hasFailed() && !input.isAtEnd()) {
    peripheral.runUntil(bench::Clock::now() + std::chrono::hours(1), STDIN_FILENO);
    if (!input.isReady()) continue;
    for (const std::string& line : input.read()) obey(line, streamer, events);
    peripheral.serve();
  }
}
