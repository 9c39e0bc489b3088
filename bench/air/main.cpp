// Runs the benchmark with many advertisers; see bench/air/run.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "Devices.h"
#include "Figures.h"
#include "Session.h"
#include "lab/Text.h"
#include "lab/bluetoothd/MessageBus.h"

namespace {

using namespace std::chrono_literals;
using bench::kDevices;
using bench::Nanoseconds;

constexpr unsigned kAdvertisers = 1000;
constexpr unsigned kCrowd = 10'000;
constexpr unsigned kNewPerSecond = 33;       // in a crowd whose addresses change every five minutes
constexpr unsigned kReportsPerSecond = 970;  // no multiple of the values' rate
constexpr unsigned kReports = 4850;
constexpr unsigned kValuesPerSecond = 250;  // of each device
constexpr unsigned kValues = 1250;

constexpr std::string_view kScanning = "the scan goes on";
constexpr std::string_view kScanned = "the scan has ended";
const std::string kOfCrowd = "one of 10,000 that are new";

std::string order(const char* verb, unsigned rate, unsigned count) {
  return std::string(verb) + " " + std::to_string(rate) + " " + std::to_string(count);
}

const std::string kStream = order("stream", kValuesPerSecond, kValues);
const std::string kAppear = order("appear", kReportsPerSecond, kAdvertisers);
const std::string kAgain = order("again", kReportsPerSecond, kReports);
const std::string kCrowdAppears = order("appear", kReportsPerSecond, kCrowd);
const std::string kJoin = order("join", kNewPerSecond, kNewPerSecond* kReports / kReportsPerSecond);

bool isEndOfScan(std::string_view line) {
  return line.ends_with(" : Stop Scan>");
}

// Measures one client from its start to its end.
class Run {
 public:
  Run(std::string name, bench::Process& bluetoothd, bench::Figures& figures)
      : name_(std::move(name)), figures_(figures), session_(bluetoothd) {}

  // Three devices stream while the bridge scans for the probe, and four when it has found it.
  void measureBridge() {
    session_.start({VORNIX_BRIDGE});
    subscribeToThree();
    session_.serveFor(2s);
    measureNewcomers();
    measureAcquaintances(kScanning);
    measureValues(kScanning, kDevices.size() - 1);
    requireScan();

    session_.tell("probe");
    session_.waitForEvent("subscribed");
    session_.waitForLine(isEndOfScan);
    session_.serveFor(2s);
    measureAcquaintances(kScanned);
    measureValues(kScanned, kDevices.size());
    measureReports(kOfCrowd, kCrowdAppears, kCrowd);
    measureValues(kScanned, kDevices.size(), "10,000 advertisers, 33 new a second",
                  {kAgain, kJoin, kStream});
  }

  // The listener has no phases; its figures are the floor for both phases of the bridge.
  void measureListener() {
    session_.start({BENCH_LISTEN});
    session_.waitForLine([](auto line) { return line == "listening"; });
    session_.serveFor(2s);
    measureNewcomers();
    measureAcquaintances(kScanning);
    measureAcquaintances(kScanned);
    measureReports(kOfCrowd, kCrowdAppears, kCrowd);
  }

 private:
  // The bridge subscribes to a Tramsel and a Corvelta by itself, to a Fenwix on command.
  void subscribeToThree() {
    session_.waitForEvent("subscribed");
    session_.waitForEvent("subscribed");
    session_.waitForLine([](auto line) { return line.starts_with("<C;5;0;"); });
    session_.client().writeLine("FX_startRaw");
    session_.waitForEvent("subscribed");
  }

  // The scan may also have ended by itself, a minute after the first connection.
  void requireScan() {
    const auto lines = session_.client().output().linesFrom(0);
    if (std::ranges::any_of(lines, isEndOfScan, &bench::Output::Line::text)) {
      throw std::runtime_error("the scan has ended while it was measured");
    }
  }

  void measureNewcomers() { measureReports("an advertiser that is new", kAppear, kAdvertisers); }
  void measureAcquaintances(std::string_view phase) {
    measureReports("a known one again, " + std::string(phase), kAgain, kReports);
  }

  // Without values, so that all CPU time of the client is for the reports.
  void measureReports(const std::string& kind, const std::string& what, unsigned count) {
    const Nanoseconds before = bench::cpuTime(session_.client().id());
    session_.tell(what);
    session_.waitForEvent("done");
    session_.settle();
    const std::chrono::duration<double, std::micro> used =
        bench::cpuTime(session_.client().id()) - before;
    add("CPU per report, us", name_, kind, used.count() / count);
  }

  void measureValues(std::string_view phase, std::size_t devices) {
    measureValues(phase, devices, "1,000 advertisers", {kAgain, kStream});
    measureValues(phase, devices, "no crowd", {kStream});
  }

  void measureValues(std::string_view phase, std::size_t devices, const std::string& around,
                     const std::vector<std::string>& orders) {
    const std::size_t begin = session_.client().output().size();
    const bench::Clock::time_point start = bench::Clock::now();
    for (const std::string& each : orders) session_.tell(each);
    session_.waitForEvent("done");
    session_.settle();
    const auto receptions = bench::receptionsOf(session_.client().output().linesFrom(begin), start);
    for (std::size_t place = 0; place < devices; ++place) {
      const std::string table = std::string(kDevices[place].name) + ", one of " +
                                std::to_string(devices) + " that stream; " + std::string(phase);
      addReception(table, around, receptions[place]);
    }
  }

  void addReception(const std::string& table, const std::string& around,
                    const bench::Reception& reception) {
    add(table, around, "median latency, ms", bench::quantile(reception.latencies, 0.5));
    add(table, around, "p99, ms", bench::quantile(reception.latencies, 0.99));
    add(table, around, "most, ms", bench::quantile(reception.latencies, 1));
    add(table, around, "lost", double{kValues} - reception.received);
    add(table, around, "doubled", reception.doubled);
  }

  void add(const std::string& table, const std::string& subject, const std::string& figure,
           double value) {
    figures_.add(table, subject, figure, value);
    std::printf("%s: %s: %s: %.5g\n", table.c_str(), subject.c_str(), figure.c_str(), value);
  }

  const std::string name_;
  bench::Figures& figures_;
  bench::Session session_;
};

void measure(const char* name, void (Run::*measurement)(), bench::Figures& figures) {
  bench::Process bluetoothd({BENCH_BLUETOOTHD});
  bench::Session(bluetoothd).waitForEvent("ready");
  // NOLINTNEXTLINE(concurrency-mt-unsafe): one thread
  setenv("DBUS_SYSTEM_BUS_ADDRESS", lab::MessageBus::addressOf(bluetoothd.id()).c_str(), 1);
  Run run(name, bluetoothd, figures);
  (run.*measurement)();
}

void measureAll(unsigned rounds) {
  bench::holdMemory();
  bench::Figures figures;
  for (unsigned round = 1; round <= rounds; ++round) {
    std::printf("round %u\n", round);
    measure("vornix", &Run::measureBridge, figures);
    measure("sd-bus, only reads the reports", &Run::measureListener, figures);
  }
  figures.print();
}

}  // namespace

int main(int argc, char** argv) {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  const unsigned rounds = argc > 1 ? lab::toNumber(argv[1]).value_or(0) : 3;
  try {
    measureAll(rounds);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "bench-air: %s\n", failure.what());
    return 1;
  }
}
