// The runner of the benchmark in crowded air; see bench/air/run.
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <stdexcept>

#include "Figures.h"
#include "PrivateBus.h"
#include "Session.h"
#include "Values.h"
#include "lab/Text.h"

namespace {

using namespace std::chrono_literals;
using bench::Nanoseconds;

constexpr unsigned kAdvertisers = 1000;
constexpr unsigned kReportsPerSecond = 970;  // not in step with the values
constexpr unsigned kReports = 4850;
constexpr unsigned kValuesPerSecond = 1000;
constexpr unsigned kValues = 5000;

struct Client {
  std::string name;
  std::vector<std::string> command;
  std::optional<bench::Form> form;  // of its lines; nothing: it takes no values
  bool hasScan = false;             // that goes on for a time after the device is connected
};

const std::vector<Client> clients{
    {"vornix", {VORNIX_BRIDGE}, bench::Form::message, true},
    {"sd-bus, only reads the reports", {BENCH_LISTEN}, std::nullopt, false},
    {"sd-bus, AcquireNotify, no reports", {BENCH_ACQUIRE}, bench::Form::hexadecimal, false}};

std::string order(const char* verb, unsigned rate, unsigned count) {
  return std::string(verb) + " " + std::to_string(rate) + " " + std::to_string(count);
}

class Run {
 public:
  Run(const Client& client, bench::Process& bluetoothd, bench::Figures& figures)
      : client_(client), figures_(figures), session_(bluetoothd) {}

  void measure() {
    session_.start(client_.command);
    if (client_.form) {
      session_.waitForEvent("subscribed");
    } else {
      session_.waitForLine([](auto line) { return line == "listening"; });
    }
    session_.serveFor(2s);
    if (client_.form) measureLatency("no crowd");
    measureReports("an advertiser that is new", order("appear", kReportsPerSecond, kAdvertisers),
                   "appeared", kAdvertisers);
    measurePhase(client_.hasScan ? "the scan goes on" : "");
    if (!client_.hasScan) return;
    session_.waitForLine([](auto line) { return line.ends_with(" : Stop Scan>"); });
    session_.serveFor(2s);
    measurePhase("the scan has ended");
  }

 private:
  // What has no scan of its own stands beside both phases of the bridge.
  void measurePhase(const std::string& phase) {
    if (phase.empty()) {
      measurePhase("the scan goes on");
      measurePhase("the scan has ended");
      return;
    }
    measureReports("a known one again, " + phase, order("again", kReportsPerSecond, kReports),
                   "told", kReports);
    if (client_.form) measureLatency("reports, " + phase);
  }

  // Without values, so that all that the client uses is for the reports.
  void measureReports(const std::string& kind, const std::string& what, const char* end,
                      unsigned count) {
    if (client_.form == bench::Form::hexadecimal) {
      session_.tell(what);
      session_.waitForEvent(end);
      return session_.settle();
    }
    const Nanoseconds before = bench::cpuTime(session_.client().id());
    session_.tell(what);
    session_.waitForEvent(end);
    session_.settle();
    const std::chrono::duration<double, std::micro> used =
        bench::cpuTime(session_.client().id()) - before;
    add("CPU per report, us", kind, used.count() / count);
  }

  void measureLatency(const std::string& around) {
    const std::size_t begin = session_.client().output().size();
    const bool hasCrowd = around != "no crowd";
    if (hasCrowd) session_.tell(order("again", kReportsPerSecond, kReports));
    session_.tell(order("stream", kValuesPerSecond, kValues));
    session_.waitForEvent("streamed");
    session_.settle();
    const auto reception =
        bench::receptionOf(session_.client().output().linesFrom(begin), *client_.form, kValues);
    const std::string table = "Values at 1,000 per second beside: " + around;
    add(table, "median latency, ms", bench::quantile(reception.latencies, 0.5));
    add(table, "p99, ms", bench::quantile(reception.latencies, 0.99));
    add(table, "most, ms", bench::quantile(reception.latencies, 1));
    add(table, "lost", kValues - reception.received);
  }

  void add(const std::string& table, const std::string& figure, double value) {
    figures_.add(table, client_.name, figure, value);
    std::printf("%s: %s: %s: %.5g\n", table.c_str(), client_.name.c_str(), figure.c_str(), value);
  }

  const Client& client_;
  bench::Figures& figures_;
  bench::Session session_;
};

void measureAll(unsigned rounds) {
  const bluez_tests::PrivateBus bus;
  bench::Figures figures;
  for (unsigned round = 1; round <= rounds; ++round) {
    for (const Client& client : clients) {
      std::printf("round %u, %s\n", round, client.name.c_str());
      bench::Process bluetoothd({BENCH_BLUETOOTHD});
      bench::Session(bluetoothd).waitForEvent("ready");
      Run(client, bluetoothd, figures).measure();
    }
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
