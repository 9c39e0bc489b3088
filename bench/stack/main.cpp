// Runs the stack benchmark; see bench/stack/run.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <thread>

#include "Figures.h"
#include "Session.h"
#include "Stack.h"
#include "Values.h"
#include "lab/Text.h"

namespace {

using namespace std::chrono_literals;
using bench::Nanoseconds;

constexpr auto kIdleTime = 5s;
constexpr auto kStall = 10s;

struct Client {
  std::string name;
  std::vector<std::string> command;
  std::optional<bench::Form> form;  // of its lines; nothing: it only counts values
  std::string ready;                // the end of the line after which it is measured
};

const std::vector<Client> allClients{
    {"vornix", {VORNIX_BRIDGE}, bench::Form::message, " : Stop Scan>"},
    {"sd-bus, AcquireNotify", {BENCH_ACQUIRE}, bench::Form::hexadecimal, ""},
    {"sd-bus, StartNotify", {BENCH_NOTIFY}, std::nullopt, ""},
    {"bleak", {"/usr/bin/python3", BENCH_BLEAK}, bench::Form::hexadecimal, ""}};

struct Rate {
  unsigned perSecond;  // 0: as fast as possible
  unsigned count;
};

const std::vector<Rate> rates{{500, 1500}, {1000, 3000}, {2000, 4000}, {0, 5000}};
constexpr Rate kStalledRate{1000, 12000};

struct CpuTimes {
  Nanoseconds client, bluetoothd, busDaemon;
};

double microseconds(Nanoseconds time) {
  return std::chrono::duration<double, std::micro>(time).count();
}

std::string titleOf(const Rate& rate) {
  return rate.perSecond == 0 ? "As fast as it goes"
                             : std::to_string(rate.perSecond) + " values per second";
}

// One client from its start to its end.
class Run {
 public:
  Run(const Client& client, const bench::Stack& stack, bench::Process& peripheral,
      bench::Figures& figures)
      : client_(client),
        bluetoothd_(stack.bluetoothd()),
        busDaemon_(stack.busDaemon()),
        figures_(figures),
        session_(peripheral) {}

  void start() {
    session_.start(client_.command);
    session_.waitForEvent("subscribed");
    session_.serveFor(2s);  // bluetoothd 5.66 may crash when a client ends while it subscribes
  }

  void measure() {
    start();
    add("Start and idle", "CPU of the start, ms", microseconds(cpuTimes().client) / 1000);
    if (client_.form) measureFirstLine();
    if (!client_.ready.empty()) {
      session_.waitForLine([this](auto line) { return line.ends_with(client_.ready); });
    }
    measureIdle();
    for (const Rate& rate : rates) measureStream(rate);
    if (client_.form) measureStall();
  }

 private:
  void measureFirstLine() {
    const auto hasStamp = [this](auto line) {
      return bench::stampIn(line, *client_.form).has_value();
    };
    const std::chrono::duration<double> time =
        session_.waitForLine(hasStamp).arrived - session_.startTime();
    add("Start and idle", "start to first line, s", time.count());
  }

  void measureIdle() {
    session_.serveFor(1s);
    const CpuTimes before = cpuTimes();
    session_.serveFor(kIdleTime);
    addCpuTimes("Start and idle", "idle: CPU per second, us", before, cpuTimes(),
                kIdleTime.count());
  }

  void measureStream(const Rate& rate) {
    const std::string table = titleOf(rate);
    const std::size_t begin = session_.client().output().size();
    const unsigned countBefore = client_.form ? 0 : countNow();
    const CpuTimes before = cpuTimes();
    const bench::Clock::time_point start = bench::Clock::now();
    order(rate);
    session_.waitForEvent("streamed");
    const std::chrono::duration<double> took = bench::Clock::now() - start;
    session_.settle();
    const CpuTimes after = cpuTimes();

    bench::Reception reception;
    if (client_.form) {
      reception = receptionFrom(begin, rate);
    } else {
      reception.received = countNow() - countBefore;
    }
    addCpuTimes(table, "CPU per value, us", before, after, reception.received);
    add(table, "lost", rate.count - reception.received);
    if (client_.form) {
      add(table, "median latency, ms", bench::quantile(reception.latencies, 0.5));
      add(table, "p99, ms", bench::quantile(reception.latencies, 0.99));
    }
    add(table, "resident memory, KiB", residentMemory());
    add(table, "sent per second", rate.count / took.count());
  }

  void measureStall() {
    const char table[] = "The reader stalls for 10 s at 1,000 values per second";
    const std::size_t begin = session_.client().output().size();
    order(kStalledRate);
    session_.serveFor(1s);
    session_.stallFor(kStall);
    add(table, "resident memory at its end, KiB", residentMemory());
    session_.waitForEvent("streamed");
    session_.settle();
    add(table, "lost", kStalledRate.count - receptionFrom(begin, kStalledRate).received);
  }

  void order(const Rate& rate) const {
    session_.tell("stream " + std::to_string(rate.perSecond) + " " + std::to_string(rate.count));
  }

  bench::Reception receptionFrom(std::size_t begin, const Rate& rate) {
    return bench::receptionOf(session_.client().output().linesFrom(begin), *client_.form,
                              rate.count);
  }

  unsigned countNow() {
    session_.client().writeLine("count");
    const std::string wanted = std::to_string(++questions_) + " ";
    const auto answer = session_.waitForLine([&](auto line) { return line.starts_with(wanted); });
    return lab::toNumber(answer.text.substr(wanted.size())).value_or(0);
  }

  CpuTimes cpuTimes() {
    return {bench::cpuTime(session_.client().id()), bench::cpuTime(bluetoothd_),
            bench::cpuTime(busDaemon_)};
  }

  double residentMemory() {
    return static_cast<double>(bench::residentMemory(session_.client().id()));
  }

  void addCpuTimes(const std::string& table, const std::string& figure, const CpuTimes& before,
                   const CpuTimes& after, double parts) {
    add(table, figure, microseconds(after.client - before.client) / parts);
    add(table, "of bluetoothd", microseconds(after.bluetoothd - before.bluetoothd) / parts);
    add(table, "of dbus-daemon", microseconds(after.busDaemon - before.busDaemon) / parts);
  }

  void add(const std::string& table, const std::string& figure, double value) {
    figures_.add(table, client_.name, figure, value);
    std::printf("%s: %s: %s: %.5g\n", table.c_str(), client_.name.c_str(), figure.c_str(), value);
  }

  const Client& client_;
  const pid_t bluetoothd_;
  const pid_t busDaemon_;
  bench::Figures& figures_;
  bench::Session session_;
  unsigned questions_ = 0;
};

// A controller can be opened once bluetoothd has set it up.
void waitForControllers(const bench::Stack& stack) {
  for (int i = 0; i < 300; ++i) {
    if (stack.isPowered("hci0") && stack.isPowered("hci1")) return;
    std::this_thread::sleep_for(100ms);
  }
  throw std::runtime_error("bluetoothd has no controllers");
}

// Lets bluetoothd forget all devices; the peripheral advertises then.
void makeAfresh(const bench::Stack& stack) {
  std::this_thread::sleep_for(1s);  // for bluetoothd to notice that the last client has ended
  stack.forgetDevices();
  std::this_thread::sleep_for(1s);
}

// The clients whose names contain this text.
std::vector<Client> clientsNamed(std::string_view part) {
  std::vector<Client> named = allClients;
  std::erase_if(named, [&](const Client& client) { return client.name.find(part) == part.npos; });
  return named;
}

void measureAll(unsigned rounds, const std::vector<Client>& clients) {
  bench::holdMemory();
  const bench::Stack stack;
  waitForControllers(stack);
  bench::Process peripheral({BENCH_PERIPHERAL, "1"});
  bench::Figures figures;
  // Once without measuring, so that the files that a start reads are cached.
  for (const Client& client : clients) {
    makeAfresh(stack);
    Run(client, stack, peripheral, figures).start();
  }
  for (unsigned round = 1; round <= rounds; ++round) {
    for (const Client& client : clients) {
      std::printf("round %u, %s\n", round, client.name.c_str());
      makeAfresh(stack);
      Run(client, stack, peripheral, figures).measure();
    }
  }
  figures.print();
}

}  // namespace

int main(int argc, char** argv) {
  if (std::getenv("VORNIX_SHARE") == nullptr) {
    std::fputs("runs only in the virtual machine: bench/stack/run\n", stderr);
    return 2;
  }
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  const unsigned rounds = argc > 1 ? lab::toNumber(argv[1]).value_or(0) : 1;
  try {
    measureAll(rounds, clientsNamed(argc > 2 ? argv[2] : ""));
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "bench-stack: %s\n", failure.what());
    return 1;
  }
}
